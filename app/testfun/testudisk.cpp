#include "testfun/testudisk.h"

#include "testfun/devicefiles.h"

#include <fcntl.h>
#include <unistd.h>

TestUdisk::TestUdisk(char* name)
    : TestItem(name, false)
{
}

int TestUdisk::execute(Log*)
{
    const int fd = ::open(devicePath("/dev/sda").c_str(), O_RDONLY | O_CLOEXEC);
    int verdict = 1;
    if (fd >= 0) {
        ::close(fd);
        verdict = 0;
    }
    setResult(verdict);
    return verdict;
}
