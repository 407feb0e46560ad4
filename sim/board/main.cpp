// uishull-board: the virtual board (see --help).

#include "board.h"
#include "scenario.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const char kHelp[] = R"(uishull-board: a simulated handheld on which the unmodified program runs.

  uishull-board run [--scenario FILE] [--dir RUNDIR] [--viewer] [--] PROGRAM [ARGS...]
      Prepares RUNDIR (default: a new directory under $TMPDIR or /tmp; an
      earlier run's files in it are removed), prints it, starts PROGRAM on the
      board and waits for it. PROGRAM's stdout and stderr go to
      RUNDIR/stdout.log and to this command's stdout, line by line. Exit
      status: PROGRAM's, 128 + signal when a signal ended it, 125 when the
      board could not start it. An ARM program runs under qemu-arm with the
      libraries of $UISHULL_ARMHF_SYSROOT (or $QEMU_LD_PREFIX).
      The program sees: /dev/fb0 and /dev/input/event0..15 of the board, its
      own /tmp (RUNDIR/tmp), /data (RUNDIR/data) and / for its writes
      (RUNDIR/root), its working directory RUNDIR/work (config.ini, res/), and
      stand-ins for poweroff, reboot, systemctl, ifconfig, udhcpc, iwlist, lsmod.
      --viewer shows the frame buffer in a window; PC keys press keypad keys.

  uishull-board ctl RUNDIR COMMAND...
      Sends one command to the board running in RUNDIR and prints its answer;
      exit status 0 done, 1 refused or no board (at once when none runs).
        key CODE [down|up]           a Linux key code on the keypad (press and release)
        mouse move DX DY             relative motion of the plugged mouse
        mouse button left|right down|up
        plug mouse|keyboard          add the USB device, with its kernel uevents
        unplug mouse|keyboard
        screenshot FILE.png          the frame buffer as a picture
        wait-line TEXT [SECONDS]     until a line of the program's output (so far
                                     or to come) contains TEXT; default 10 s
        state                        the board as JSON: devices, LEDs, commands, files
        stop                         end the program (SIGTERM)

  uishull-board check-scenario FILE
      Reads FILE and reports the first error, if any.

Scenario files are described in the README (section "The virtual board").
)";

int usage(const char* what)
{
    std::fprintf(stderr, "uishull-board: %s (try --help)\n", what);
    return 2;
}

}

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty())
        return usage("a subcommand is needed: run, ctl or check-scenario");
    if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (args[0] == "ctl") {
        if (args.size() < 3)
            return usage("ctl RUNDIR COMMAND...");
        return board::controlBoard(args[1], std::vector<std::string>(args.begin() + 2, args.end()));
    }
    if (args[0] == "check-scenario") {
        if (args.size() != 2)
            return usage("check-scenario FILE");
        board::Scenario s;
        std::string error;
        if (!board::loadScenario(args[1], s, error)) {
            std::fprintf(stderr, "uishull-board: %s\n", error.c_str());
            return 1;
        }
        std::printf("%s: a valid scenario\n", args[1].c_str());
        return 0;
    }
    if (args[0] != "run")
        return usage(("unknown subcommand \"" + args[0] + "\"").c_str());

    board::RunOptions options;
    std::string scenario;
    size_t i = 1;
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--") {
            ++i;
            break;
        }
        if (a == "--scenario" || a == "--dir") {
            if (i + 1 >= args.size())
                return usage((a + " needs a value").c_str());
            (a == "--dir" ? options.runDir : scenario) = args[++i];
        } else if (a == "--viewer") {
            options.viewer = true;
        } else if (a == "--help" || a == "-h") {
            std::fputs(kHelp, stdout);
            return 0;
        } else if (!a.empty() && a[0] == '-') {
            return usage(("unknown option " + a).c_str());
        } else {
            break;
        }
    }
    options.command.assign(args.begin() + static_cast<long>(i), args.end());
    if (options.command.empty())
        return usage("run needs a PROGRAM");
    std::string error;
#ifdef UISHULL_BOARD_DEFAULT_SCENARIO
    if (scenario.empty() && access(UISHULL_BOARD_DEFAULT_SCENARIO, R_OK) == 0)
        scenario = UISHULL_BOARD_DEFAULT_SCENARIO;
#endif
    options.scenario = board::defaultScenario();
    if (!scenario.empty() && !board::loadScenario(scenario, options.scenario, error)) {
        std::fprintf(stderr, "uishull-board: %s\n", error.c_str());
        return 2;
    }
    return board::runBoard(options);
}
