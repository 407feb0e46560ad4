#include "uevent.h"

#include "../preload/board_protocol.h"
#include "device_model.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>

namespace board {

std::string ueventText(
    const std::string& action, const std::string& devpath, const std::vector<std::string>& vars)
{
    std::string msg = action + "@" + devpath;
    msg.push_back('\0');
    for (const std::string& var : { "ACTION=" + action, "DEVPATH=" + devpath }) {
        msg += var;
        msg.push_back('\0');
    }
    for (const auto& var : vars) {
        msg += var;
        msg.push_back('\0');
    }
    return msg;
}

namespace {

    // Every netlink socket the program creates hears the kernel's uevents: a
    // datagram pair whose sender the library reports as the kernel (port id 0).
    class UeventModel : public DeviceModel {
    public:
        using DeviceModel::DeviceModel;

        OpenResult socket(int, const Client&) override
        {
            int sv[2];
            if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, sv) != 0)
                return OpenResult::failed(errno);
            fcntl(sv[0], F_SETFL, O_NONBLOCK);
            return OpenResult::opened(BOARD_KIND_NETLINK, sv[1], sv[0]);
        }

        void kernelEvent(const std::string& text) override
        {
            std::string msg = text + "SEQNUM=" + std::to_string(m_seq++);
            msg.push_back('\0');
            for (Node* o : m_board.nodesOf(this))
                send(o->boardFd, msg.data(), msg.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }

    private:
        int m_seq { 1000 };
    };

}

extern const ModelType kUeventModel
    = { "uevent", {}, nullptr, nullptr, [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
           return std::make_unique<UeventModel>(board);
       } };

}
