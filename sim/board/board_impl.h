#pragma once
// The board process, split by job: run.cpp prepares the run directory,
// confinement.cpp starts the program confined, preload_server.cpp answers the
// preload library and routes to the device models, controller.cpp serves
// "uishull-board ctl", board.cpp runs the one poll loop. Private to sim/board.

#include "../preload/board_protocol.h"
#include "board.h"
#include "device_model.h"
#include "viewer.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace board {

int64_t nowMs();
void note(const std::string& text);

// Host files the board prepares and reports.
bool writeFile(const std::string& path, const std::string& text);
// Removes path and everything under it, never following a symbolic link.
void removeTree(const std::string& path);
bool copyTree(const std::string& from, const std::string& to, std::string& error);
// Files under dir (relative names, directories excluded), for the state.
void listFiles(const std::string& dir, const std::string& prefix, std::vector<std::string>& out);
std::string exeDir();
// A listening Unix socket of type at path (an old one there is replaced).
int listenUnix(const std::string& path, int type, std::string& error);
std::string findInPath(const std::string& name);
std::string absolute(const std::string& path);
// EM_ARM programs need the emulator on a host of another kind.
bool isArmElf(const std::string& path);

class Board : public BoardContext {
public:
    explicit Board(const RunOptions& options);
    ~Board();
    int run();

    // BoardContext
    const Scenario& scenario() const override { return m_opt.scenario; }
    const std::string& runDir() const override { return m_dir; }
    void note(const std::string& text) override { board::note(text); }
    std::vector<Node*> nodesOf(const DeviceModel* model) override;
    void dropNode(Node* node) override;
    void kernelEvent(const std::string& text) override;

private:
    struct DevClient {
        int fd;
        Client client;
    };
    struct CtlClient {
        int fd;
        std::string in;
        bool waiting { false };
        std::string text;
        int64_t deadline { 0 };
        size_t from { 0 };
    };
    struct Output {
        int fd;
        std::string partial;
    };

    // run.cpp
    bool prepare(std::string& error);
    // confinement.cpp
    bool startProgram(std::string& error);
    void signalProgram(int sig);
    // board.cpp
    void loop();
    void finish();
    void handleSignals();
    void readOutput(Output& out);
    void addLine(const std::string& line);
    void viewerFrame();
    // preload_server.cpp
    void acceptDev();
    void serveDev(DevClient& c);
    void answer(int fd, int result, int error, int handle = 0, int kind = 0, const std::string& payload = {},
        int passFd = -1);
    void openNode(DevClient& c, const std::string& path);
    void openSocket(DevClient& c, int protocol);
    void finishOpen(DevClient& c, DeviceModel* model, const OpenResult& r);
    void ioctlNode(DevClient& c, const board_request& req, const std::vector<uint8_t>& in);
    void mmapNode(DevClient& c, const board_request& req);
    void readDeviceEnd(int handle);
    void commandStandIn(DevClient& c, const std::vector<std::string>& argv);
    // controller.cpp
    void acceptCtl();
    void serveCtl(CtlClient& c);
    std::string controlCommand(CtlClient& c, const std::vector<std::string>& words, bool& keepOpen);
    void replyCtl(CtlClient& c, bool ok, const std::string& text);
    void checkWaiters();
    std::string stateJson();
    // The run report named in the program's config.ini, as JSON; "" without one.
    std::string reportState();

    RunOptions m_opt;
    std::string m_dir;
    bool m_bwrap { false };
    std::vector<std::unique_ptr<DeviceModel>> m_models; // in the order of modelTypes()
    std::map<int, Node> m_nodes; // the program's descriptors on emulated nodes, by handle
    int m_nextHandle { 1 };
    int m_devListen { -1 };
    int m_ctlListen { -1 };
    int m_signals { -1 };
    std::vector<DevClient> m_devClients;
    std::vector<std::unique_ptr<CtlClient>> m_ctlClients;
    Output m_out { -1, {} };
    Output m_err { -1, {} };
    std::vector<std::string> m_lines;
    FILE* m_log { nullptr };
    pid_t m_pid { -1 };
    pid_t m_sandboxPid { -1 }; // bubblewrap's first process inside the sandbox
    int64_t m_exitTime { 0 };
    int m_status { -1 };
    bool m_exited { false };
    std::unique_ptr<Viewer> m_viewer;
};

}
