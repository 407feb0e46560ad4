// A program for the board that asks the flash driver and the display driver
// through the program's own live path (zor_getsyspara, zor_setsyspara,
// zor_getsocinfo), so that the tests see the record of the architecture it
// was built for cross the board. The words are done in order:
//
//   get NAME [CAPACITY]   prints "get NAME rc=R len=L value=<VALUE>" (CAPACITY
//                         defaults to 200; the value as the buffer holds it)
//   set NAME VALUE        prints "set NAME rc=R"
//   delete NAME           prints "delete NAME rc=R"
//   socinfo               prints "socinfo rc=R id=0xXXXXXXXX second=S"
//
// Exit status 0 when every word was understood, 2 otherwise.

#include "platform/syspara.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "get" && i + 1 < argc) {
            const char* name = argv[++i];
            int capacity = 200;
            if (i + 1 < argc && argv[i + 1][0] >= '0' && argv[i + 1][0] <= '9')
                capacity = std::atoi(argv[++i]);
            if (capacity < 0 || capacity > 200)
                return 2;
            char value[201] = {};
            int len = capacity;
            const int rc = zor_getsyspara(name, value, &len);
            std::printf("get %s rc=%d len=%d value=<%s>\n", name, rc, len, value);
        } else if (word == "set" && i + 2 < argc) {
            const char* name = argv[i + 1];
            const char* value = argv[i + 2];
            i += 2;
            std::printf("set %s rc=%d\n", name, zor_setsyspara(name, value));
        } else if (word == "delete" && i + 1 < argc) {
            const char* name = argv[++i];
            std::printf("delete %s rc=%d\n", name, zor_setsyspara(name, nullptr));
        } else if (word == "socinfo") {
            int id = -1;
            int second = -1;
            const int rc = zor_getsocinfo(&id, &second);
            std::printf("socinfo rc=%d id=0x%08x second=%d\n", rc, static_cast<unsigned>(id), second);
        } else {
            std::fprintf(stderr, "syspara-probe: bad word \"%s\"\n", argv[i]);
            return 2;
        }
        std::fflush(stdout);
    }
    return 0;
}
