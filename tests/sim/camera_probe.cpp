// Runs the program's camera test item on the board, without the quick-test
// screen, prints "camera RESULT" and the sensor settings it took, then copies
// the whole frame buffer into the file named on the command line, so that a
// board test can compare the picture byte by byte. With "hold" it then waits
// for the board to end it, so that the picture can be looked at through the
// board (a screenshot) while the program still runs.
//
//     camera-probe FB-COPY [RUNS [hold]]

#include "testfun/testcamera.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: camera-probe FB-COPY [RUNS [hold]]\n");
        return 2;
    }
    const int runs = argc > 2 ? std::atoi(argv[2]) : 1;
    setvbuf(stdout, nullptr, _IOLBF, 0);
    char name[] = "camera";
    TestCamera item(name);
    for (int i = 0; i < runs; ++i) {
        const int result = item.execute(nullptr);
        const CameraState& s = cameraState();
        std::printf("camera %d\n", result);
        std::printf("capture %ux%u at %u,%u layout %s screen %ux%u frames %d\n", s.width, s.height, s.xOffset,
            s.yOffset, s.semiPlanar ? "semi-planar" : "packed", s.screenWidth, s.screenHeight, s.framesShown);
    }

    const int fb = open("/dev/fb0", O_RDONLY | O_CLOEXEC);
    const int out = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fb < 0 || out < 0) {
        std::perror("camera-probe");
        return 1;
    }
    char buf[65536];
    ssize_t n;
    while ((n = read(fb, buf, sizeof buf)) > 0) {
        if (write(out, buf, static_cast<size_t>(n)) != n) {
            std::perror("camera-probe: write");
            return 1;
        }
    }
    close(out);
    close(fb);
    std::printf("copied\n");
    if (argc > 3 && std::strcmp(argv[3], "hold") == 0) {
        // Until the board's stop (SIGTERM ends the process).
        for (;;)
            pause();
    }
    return 0;
}
