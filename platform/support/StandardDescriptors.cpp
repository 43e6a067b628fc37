#include "platform/support/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace tavik {

void reserveStandardDescriptors() noexcept {
    // The lowest free number is taken, and those below are in use. Unlike /dev/null, a folder
    // refuses what is written to it as a closed descriptor does, so lost output stays a failure.
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number)
        if (::fcntl(number, F_GETFD) < 0 && errno == EBADF)
            static_cast<void>(::open("/", O_RDONLY | O_DIRECTORY));
}

}  // namespace tavik
