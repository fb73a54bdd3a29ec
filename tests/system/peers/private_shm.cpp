// private_shm.cpp : shared memory as files in the folder SHM_FOLDER instead of in /dev/shm, for a
// program that this is loaded into ahead of the C library.
//
// Role:      several programs that give their shared memory the same name do not meet, one that is
//            killed leaves nothing behind, and none needs a machine that has /dev/shm.
// Threads:   any.
// Errors:    those of open and unlink, as the functions that it stands for have them.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

// The names begin with a slash.
std::string pathOf(const char* name) { return std::getenv("SHM_FOLDER") + std::string(name); }

}  // namespace

int shm_open(const char* name, int flags, mode_t mode) {
  return open(pathOf(name).c_str(), flags | O_CLOEXEC, mode);
}

int shm_unlink(const char* name) { return unlink(pathOf(name).c_str()); }
