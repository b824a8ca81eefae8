#include "platform/system/standard_streams.h"

#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace tolvar {

void HoldStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1) {
            static_cast<void>(open("/dev/null", O_RDONLY));
        }
    }
}

} // namespace tolvar
