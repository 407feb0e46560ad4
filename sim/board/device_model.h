#pragma once
// One device model of the board behind one small interface. A model answers
// for the nodes, sockets and commands of one kind of hardware: it opens them
// for the program (handing over a real descriptor), answers their ioctls in
// the layout of the program's architecture, reads what the program writes to
// its end, adds its controller commands and its part of the board's state, and
// reads its own sections of the scenario. The board only routes.
//
// Adding a model: one file with a DeviceModel subclass and its ModelType, and
// one line in the table of models.cpp.

#include "scenario.h"
#include "wire.h"

#include <cerrno>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace board {

class DeviceModel;

// The program's process as it introduced itself to the board.
struct Client {
    Arch arch { Arch::X86_64 };
    int pid { 0 };
    uint32_t openFlags { 0 }; // BOARD_OPEN_* of the open being answered
};

// One descriptor the program holds on an emulated node or socket.
struct Node {
    DeviceModel* model { nullptr };
    int kind { 0 }; // BOARD_KIND_*: what the library is told the node is
    int device { -1 }; // the model's own number (an evdev node's event number)
    int boardFd { -1 }; // the board's end of a socket pair; -1 for a memory node
    Arch arch { Arch::X86_64 };
    std::string pending; // bytes the program wrote that are not yet a whole record
};

// What a model makes of an open (or a socket) the program asks for.
struct OpenResult {
    enum Status { NotMine, Failed, Opened };
    Status status { NotMine };
    int error { 0 }; // Failed: an errno value
    int kind { 0 }; // Opened: BOARD_KIND_*
    int passFd { -1 }; // Opened: handed to the program, then closed by the board
    int boardFd { -1 }; // Opened: the board's end, watched for the program's writes and close
    int device { -1 };
    static OpenResult failed(int err) { return { Failed, err }; }
    static OpenResult opened(int kind, int passFd, int boardFd = -1, int device = -1)
    {
        return { Opened, 0, kind, passFd, boardFd, device };
    }
};

// What a model makes of a mapping of one of its nodes: the program maps fd
// at offset instead (the board closes fd once it is handed over).
struct MmapResult {
    int error { ENODEV }; // 0 when mapped
    int fd { -1 };
    uint64_t offset { 0 };
    static MmapResult fail(int err) { return { err, -1, 0 }; }
    static MmapResult map(int fd, uint64_t offset) { return { 0, fd, offset }; }
};

// A stand-in command's answer: print output and exit with status, or run the real command.
struct CommandAnswer {
    int status { 0 };
    int how { 0 }; // BOARD_COMMAND_*
    std::string output;
};

// A controller command. run answers with the text to print ("error: ..." when
// refused), or nullopt when the words belong to another model's command of the
// same name ("plug usbdisk" is not the mouse model's).
struct ControlCommand {
    std::string name;
    std::string usage;
    std::function<std::optional<std::string>(const std::vector<std::string>& words)> run;
};

// What the board offers its models.
class BoardContext {
public:
    virtual const Scenario& scenario() const = 0;
    virtual const std::string& runDir() const = 0;
    // A note on the board's stderr.
    virtual void note(const std::string& text) = 0;
    // The program's open descriptors on nodes of model.
    virtual std::vector<Node*> nodesOf(const DeviceModel* model) = 0;
    // Closes the board's end of node and forgets it: the program sees the device go.
    virtual void dropNode(Node* node) = 0;
    // A kernel uevent text, handed to every model (the netlink model sends it on).
    virtual void kernelEvent(const std::string& text) = 0;

protected:
    ~BoardContext() = default;
};

class DeviceModel {
public:
    explicit DeviceModel(BoardContext& board)
        : m_board(board)
    {
    }
    virtual ~DeviceModel() = default;
    DeviceModel(const DeviceModel&) = delete;
    DeviceModel& operator=(const DeviceModel&) = delete;

    // Once the run directory exists, before the program starts; false with error stops the board.
    virtual bool start(std::string& error)
    {
        (void)error;
        return true;
    }
    // The program opens path (after the library's own path rules); NotMine lets the next model try.
    virtual OpenResult open(const std::string& path, const Client& client)
    {
        (void)path, (void)client;
        return {};
    }
    // The program creates an AF_NETLINK socket of this protocol.
    virtual OpenResult socket(int protocol, const Client& client)
    {
        (void)protocol, (void)client;
        return {};
    }
    // An ioctl on one of the model's nodes, answered for the node's architecture.
    virtual IoctlResult ioctl(Node& node, uint32_t request, uint64_t arg, const std::vector<uint8_t>& in);
    // The program maps length bytes at offset of one of the model's nodes.
    virtual MmapResult mmap(Node& node, uint64_t offset, uint64_t length)
    {
        (void)node, (void)offset, (void)length;
        return MmapResult::fail(ENODEV);
    }
    // Bytes the program wrote to its end of one of the model's socket nodes.
    virtual void written(Node& node, const char* data, size_t size) { (void)node, (void)data, (void)size; }
    // The program closed its end of node; the board forgets it after this call.
    virtual void closed(Node& node) { (void)node; }
    // A command line the program gave system or popen (every model sees it).
    virtual void shell(const std::string& line) { (void)line; }
    // A stand-in command ran with argv; true when this model answered.
    virtual bool command(const std::vector<std::string>& argv, CommandAnswer& answer)
    {
        (void)argv, (void)answer;
        return false;
    }
    // A kernel uevent text some model produced.
    virtual void kernelEvent(const std::string& text) { (void)text; }
    // The controller commands the model adds.
    virtual std::vector<ControlCommand> controlCommands() { return {}; }
    // The model's members of the state JSON: (name, JSON value text).
    virtual void state(std::vector<std::pair<std::string, std::string>>& members) { (void)members; }

protected:
    BoardContext& m_board;
};

// A kind of model: the scenario sections it reads and how to make one.
struct ModelType {
    const char* name;
    std::vector<std::string> sections;
    // One "key = value" line of one of its sections into s; false with error
    // (the parser adds the file and line). base resolves relative paths.
    bool (*parseKey)(const std::string& section, const std::string& key, const std::string& value,
        const std::string& base, Scenario& s, std::string& error);
    // After the whole file was read (null: nothing to do).
    void (*finish)(Scenario& s);
    std::unique_ptr<DeviceModel> (*create)(BoardContext& board);
};

// Every model of the board, in the order they are asked (models.cpp).
const std::vector<ModelType>& modelTypes();

}
