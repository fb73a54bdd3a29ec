/* broken_plugins/closes_files.c : closes the files of its host that are open for writing. */
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static void close_files(void) {
  for (int fd = 3; fd < 256; ++fd) {
    struct stat status;
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || (flags & O_ACCMODE) != O_WRONLY) continue;
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) close(fd);
  }
}

#define FAULT_AT_DESTROY close_files
#include "broken_plugins/synchronous_plugin.h"
