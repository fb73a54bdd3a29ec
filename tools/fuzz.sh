# tools/fuzz.sh : builds and runs the fuzzers of tests/fuzz. Sourced by ./dev after tools/lib.sh,
# with the repository as the current directory.

fuzz_corpus=tests/fuzz/corpus
fuzz_work=build/fuzz/run  # found/TARGET, artifacts/TARGET, log/TARGET.log
# How many inputs a target keeps in the repository, and how long one may be.
fuzz_files_max=200
fuzz_bytes_max=4096

fuzz_usage() {
  cat <<'END_OF_USAGE'
usage: ./dev fuzz [SECONDS] [TARGET...]    runs each fuzzer so long (60), as many at a time as there
                                           are processors; no target means all of them
       ./dev fuzz --merge [TARGET...]      takes what the fuzzers have found so far, as far as it
                                           reaches new code, into tests/fuzz/corpus
       ./dev fuzz --list                   the targets
With a number in FUZZ_SEED the fuzzers begin alike each time.
END_OF_USAGE
}

# One folder of inputs a target.
fuzz_targets() { find "$fuzz_corpus" -mindepth 1 -maxdepth 1 -type d -printf '%f\n' | sort; }

# fuzzer TARGET ARGUMENT... : runs a fuzzer with what all its runs have in common. What the code
# under test writes to standard error is dropped; the fuzzer's and the sanitizers' own lines stay.
fuzzer() {
  local target=$1 dictionary=tests/fuzz/dictionaries/$1.dict
  shift
  ASAN_OPTIONS="detect_leaks=$fuzz_leaks:detect_stack_use_after_return=1" \
    UBSAN_OPTIONS=print_stacktrace=1 "build/fuzz/tests/fuzz_$target" \
    -timeout=25 -rss_limit_mb=3000 -detect_leaks="$fuzz_leaks" -close_fd_mask=2 \
    -artifact_prefix="$fuzz_work/artifacts/$target/" -max_len="$fuzz_bytes_max" \
    $([[ ! -f $dictionary ]] || printf -- '-dict=%s' "$dictionary") "$@" </dev/null
}

# Looking for leaks takes a right that some containers withhold.
fuzz_probe_leaks() {
  local target=$1 log="$fuzz_work/log/leaks.log"
  fuzz_leaks=1
  if ! fuzzer "$target" -runs=0 >"$log" 2>&1 && grep -q 'LeakSanitizer has encountered' "$log"; then
    fuzz_leaks=0
    step "Leaks are not looked for: the system does not let a process look into itself"
  fi
}

# fuzz_one TARGET SECONDS : one run; its exit code is in log/TARGET.code.
fuzz_one() {
  local target=$1 seconds=$2 code=0
  fuzzer "$target" -max_total_time="$seconds" -print_final_stats=1 \
    ${FUZZ_SEED:+-seed="$FUZZ_SEED"} \
    "$fuzz_work/found/$target" "$fuzz_corpus/$target" >"$fuzz_work/log/$target.log" 2>&1 || code=$?
  printf '%s\n' "$code" >"$fuzz_work/log/$target.code"
}

# fuzz_report TARGET : one line about the run; more, and 1, when it found something.
fuzz_report() {
  local target=$1 log="$fuzz_work/log/$1.log" runs coverage artifact
  if [[ $(cat "$fuzz_work/log/$target.code" 2>/dev/null) == 0 ]]; then
    runs=$(sed -n 's/^Done \([0-9]*\) runs in \([0-9]*\) second.*/\1 inputs in \2 s/p' "$log")
    coverage=$(grep -oE 'cov: [0-9]+ ft: [0-9]+' "$log" | tail -n 1)
    printf '%-16s %s, %s\n' "$target" "$runs" "$coverage"
    return 0
  fi
  grep -aE '^(fuzz: |SUMMARY: |==[0-9]+==ERROR|.*runtime error: )' "$log" |
    head -n 20 >&2 || true
  artifact=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
  printf '==> %s has found something (all of its output: %s)\n' "$target" "$log" >&2
  if [[ -n $artifact ]]; then
    printf '==> Again: build/fuzz/tests/fuzz_%s %s\n' "$target" "$artifact" >&2
    printf '==> Once it is mended: cp %s %s/WHAT_IT_IS\n' "$artifact" "$fuzz_corpus/$target" >&2
  fi
  return 1
}

# fuzz_prepare TARGET... : builds the fuzzers and makes the folders of their runs.
fuzz_prepare() {
  local target
  for target in "$@"; do
    [[ -d $fuzz_corpus/$target ]] || fail "No such fuzz target: $target (see ./dev fuzz --list)"
  done
  need_packages build fuzz
  build fuzz "${@/#/fuzz_}"
  mkdir -p "$fuzz_work/log"
  for target in "$@"; do
    mkdir -p "$fuzz_work/found/$target" "$fuzz_work/artifacts/$target"
    rm -f "$fuzz_work/log/$target.code"
  done
  fuzz_probe_leaks "$1"
}

fuzz_run() {
  local seconds=$1 failed=0 target
  shift
  fuzz_prepare "$@"
  step "Fuzzing for $seconds s each: $*"
  for target in "$@"; do
    while [[ $(jobs -rp | wc -l) -ge $(nproc) ]]; do
      wait -n || true
    done
    fuzz_one "$target" "$seconds" &
  done
  wait
  for target in "$@"; do
    fuzz_report "$target" || failed=1
  done
  [[ $failed -eq 0 ]] || fail "The fuzzers have found something"
  step "The fuzzers have found nothing"
}

# The inputs that a fuzzer has named by their contents, smallest last.
fuzz_found_inputs() {
  find "$1" -type f -regextype posix-extended -regex '.*/[0-9a-f]{40}' -printf '%s %p\n' |
    sort -rn | cut -d ' ' -f 2-
}

fuzz_merge() {
  local target folder excess
  fuzz_prepare "$@"
  for target in "$@"; do
    folder=$fuzz_corpus/$target
    quietly "fuzz-merge-$target" fuzzer "$target" -merge=1 "$folder" "$fuzz_work/found/$target"
    excess=$(($(find "$folder" -type f | wc -l) - fuzz_files_max))
    if [[ $excess -gt 0 ]]; then
      fuzz_found_inputs "$folder" | sed -n "1,${excess}p" | xargs -r rm  # head would end the pipe
    fi
    step "$folder has $(find "$folder" -type f | wc -l) inputs"
  done
}

fuzz() {
  local seconds=60 action=fuzz_run targets
  case ${1:-} in
    -h | --help) fuzz_usage && return ;;
    --list) fuzz_targets && return ;;
    --merge) action=fuzz_merge && shift ;;
    [0-9]*) seconds=$1 && shift ;;
  esac
  [[ $seconds =~ ^[1-9][0-9]*$ ]] || fail "No number of seconds: $seconds"
  targets=("$@")
  if [[ $# -eq 0 ]]; then
    mapfile -t targets < <(fuzz_targets)
  fi
  if [[ $action == fuzz_merge ]]; then
    fuzz_merge "${targets[@]}"
  else
    fuzz_run "$seconds" "${targets[@]}"
  fi
}
