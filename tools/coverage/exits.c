// coverage/exits.c : keeps the counts of processes that end by _exit or abort, which write none.
//
// Role:    linked into each library and program of the preset "coverage", whose calls of the two
//          functions the linker directs to here.
// Threads: any thread.
// Limits:  the counts of the calling library or program are written, not those of the others; a
//          process that is killed leaves none.

void __gcov_dump(void);
_Noreturn void __real__exit(int code);
_Noreturn void __real_abort(void);
_Noreturn void __wrap__exit(int code);
_Noreturn void __wrap_abort(void);

void __wrap__exit(int code) {
  __gcov_dump();
  __real__exit(code);
}

void __wrap_abort(void) {
  __gcov_dump();
  __real_abort();
}
