// A flood of 10,000 datagrams into the update screen, against a bare
// program that only receives them, in the same run. A second thread sends
// the datagrams the way an update script does (the mix of the burst test:
// steps, values, status and title lines, and a tenth without a separator)
// and then an end marker; the receiver serves until the marker arrives.
// The socket's queue holds few datagrams, so the sender keeps pace with the
// receiver and the time is the receiver's.
//
// Both receivers print the line the program prints for every datagram
// (stdout goes to /dev/null while measuring), so the difference is the
// screen: messages, texts, the list, the progress bar and the paints.

#include "shell/notify_protocol.h"
#include "shell/pelnotifier.h"
#include "update/updatewnd.h"

#include <lumi/lumi.h>

#include <benchmark/benchmark.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kDatagrams = 10000;
const char* const kEnd = "5@burst end";

std::vector<std::string> burst()
{
    std::vector<std::string> all;
    for (int i = 0; i < kDatagrams; ++i) {
        switch (i % 5) {
        case 0:
            all.push_back("1@step " + std::to_string(i));
            break;
        case 1:
            all.push_back("3@" + std::to_string(i % 101));
            break;
        case 2:
            all.push_back("5@status " + std::to_string(i));
            break;
        case 3:
            all.push_back("2@title " + std::to_string(i));
            break;
        default:
            all.push_back(i % 2 ? "hello" : "@x");
            break;
        }
    }
    all.push_back(kEnd);
    return all;
}

// Sends every datagram to path, waiting while the receiver's queue is full.
void sendAll(const std::string& path)
{
    static const std::vector<std::string> all = burst();
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path.c_str());
    for (const std::string& d : all) {
        ssize_t n;
        do {
            n = sendto(fd, d.data(), d.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
        } while (n < 0 && (errno == EINTR || errno == EAGAIN));
        if (n != static_cast<ssize_t>(d.size())) {
            std::perror("update_bench: sendto");
            std::abort();
        }
    }
    close(fd);
}

std::string s_dir;

// The update screen, counting the notifications it handles and its paints.
class CountingUpdateWnd : public UpdateWnd {
public:
    int notifications { 0 };
    int paints { 0 };
    bool ended { false };

protected:
    int handleMessage(LUMIMessage& msg) override
    {
        if (msg.id == MSG_PEL_NOTIFY) {
            ++notifications;
            if (msg.param1 == PEL_NOTIFY_STATUS && msg.data
                && std::strcmp(static_cast<char*>(msg.data), "burst end") == 0)
                ended = true;
        }
        return UpdateWnd::handleMessage(msg);
    }
    int onPaint() override
    {
        ++paints;
        return UpdateWnd::onPaint();
    }
};

struct UpdateScene {
    std::unique_ptr<GuiRT> rt;
    std::unique_ptr<GuiApp> app;
    CountingUpdateWnd* window { nullptr };

    UpdateScene()
    {
        const std::string display = "file:" + s_dir + "/screen.raw:800x480";
        setenv("LUMI_DISPLAY", display.c_str(), 1);
        unsetenv("LUMI_INPUT");
        rt = std::make_unique<GuiRT>();
        rt->init(0);
        app = std::make_unique<GuiApp>();
        app->init("bench", 0);
        PelNotifier::setPath((s_dir + "/update.sock").c_str());
        if (PelNotifier::init() != 0)
            std::abort();
        window = new CountingUpdateWnd;
        if (window->create() != 0)
            std::abort();
        window->showWindow(true);
        app->processEvents(0);
    }
    ~UpdateScene()
    {
        PelNotifier::close();
        app->term(); // deletes the window
    }

    // Serves one burst; the paints it took.
    int serveBurst()
    {
        window->notifications = 0;
        window->paints = 0;
        window->ended = false;
        std::thread sender(sendAll, std::string(PelNotifier::path()));
        while (!window->ended)
            app->processEvents(1000);
        sender.join();
        app->processEvents(0); // the last picture
        if (window->notifications != kDatagrams * 9 / 10 + 1)
            std::abort(); // something was lost
        return window->paints;
    }
};

void BM_UpdateScreenBurst(benchmark::State& state)
{
    UpdateScene scene;
    int paints = 0;
    for (auto _ : state)
        paints = scene.serveBurst();
    state.counters["paints"] = paints;
}
BENCHMARK(BM_UpdateScreenBurst)->Unit(benchmark::kMillisecond)->UseRealTime();

// The bare receiver: a blocking socket, read and print each datagram.
void BM_BareReceiverBurst(benchmark::State& state)
{
    const std::string path = s_dir + "/bare.sock";
    unlink(path.c_str());
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path.c_str());
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0)
        std::abort();
    for (auto _ : state) {
        std::thread sender(sendAll, path);
        int received = 0;
        for (;;) {
            char buffer[PEL_NOTIFY_MAX_DATAGRAM + 1];
            std::memset(buffer, 0, sizeof buffer);
            const ssize_t n = recvfrom(fd, buffer, PEL_NOTIFY_MAX_DATAGRAM, 0, nullptr, nullptr);
            if (n <= 0)
                continue;
            std::printf("[PelNotifier::onRead()] %s\n", buffer);
            ++received;
            if (std::strcmp(buffer, kEnd) == 0)
                break;
        }
        sender.join();
        if (received != kDatagrams + 1)
            std::abort();
    }
    close(fd);
    unlink(path.c_str());
}
BENCHMARK(BM_BareReceiverBurst)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    char templ[] = "/tmp/update-bench-XXXXXX";
    s_dir = mkdtemp(templ);
    // "config.ini" is looked for in the working directory.
    if (chdir(s_dir.c_str()) != 0)
        return 1;
    // The program's line per datagram goes nowhere; the report to stderr.
    if (!std::freopen("/dev/null", "w", stdout))
        return 1;
    benchmark::Initialize(&argc, argv);
    benchmark::ConsoleReporter reporter;
    reporter.SetOutputStream(&std::cerr);
    reporter.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
