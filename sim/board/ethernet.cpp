// The Ethernet PHY of eth0 as its MII requests see it: the PHY's address and
// its basic mode status register (register 1) with the link bit following
// the cable, which the controller plugs in and out ("plug cable",
// "unplug cable"). A board without a PHY reads 0xFFFF, as an empty MII bus
// does.
//
// Scenario section [ethernet]:
//   phy = yes|no                  a PHY answers (default yes)
//   cable = plugged|unplugged     the cable at start (default plugged)

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "memfile.h"

#include <cerrno>

namespace board {

namespace {

    // The request numbers are the same on every architecture.
    constexpr uint32_t kSiocGMiiPhy = 0x8947;
    constexpr uint32_t kSiocGMiiReg = 0x8948;
    // struct ifreq: a 16-byte name, then the union holding struct
    // mii_ioctl_data (phy_id, reg_num, val_in, val_out, 16 bits each).
    constexpr size_t kMiiData = 16;
    constexpr uint16_t kPhyAddress = 1;
    constexpr uint16_t kBmsrLinkDown = 0x7849; // 100/10 capable, autonegotiation able
    constexpr uint16_t kBmsrLinkUp = 0x786D; // the same with link status and autonegotiation complete

    size_t ifreqSize(Arch arch)
    {
        return arch == Arch::Armhf ? 32 : 40;
    }

    class EthernetModel : public DeviceModel {
    public:
        explicit EthernetModel(BoardContext& board)
            : DeviceModel(board)
        {
            const auto& settings = board.scenario().settings;
            auto it = settings.find("ethernet");
            if (it == settings.end())
                return;
            auto phy = it->second.find("phy");
            if (phy != it->second.end())
                scenarioBool(phy->second, m_phy);
            auto cable = it->second.find("cable");
            if (cable != it->second.end())
                m_cable = cable->second == "plugged";
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            // The library asks for the interface an MII request names.
            if (path.compare(0, 16, "/dev/.board-net/") != 0)
                return {};
            if (path != "/dev/.board-net/eth0")
                return OpenResult::failed(ENODEV);
            int boardEnd = -1;
            const int fd = packetPair(&boardEnd);
            if (fd < 0)
                return OpenResult::failed(errno);
            return OpenResult::opened(BOARD_KIND_FILE, fd, boardEnd);
        }

        IoctlResult ioctl(Node& node, uint32_t request, uint64_t, const std::vector<uint8_t>& in) override
        {
            if (request != kSiocGMiiPhy && request != kSiocGMiiReg)
                return IoctlResult::fail(ENOTTY);
            if (in.size() < ifreqSize(node.arch))
                return IoctlResult::fail(EFAULT);
            ++m_requests;
            IoctlResult r;
            r.out.assign(in.begin(), in.begin() + static_cast<long>(ifreqSize(node.arch)));
            if (request == kSiocGMiiPhy) {
                put16(r.out, kMiiData, kPhyAddress);
                return r;
            }
            const uint16_t reg = static_cast<uint16_t>(in[kMiiData + 2] | (in[kMiiData + 3] << 8));
            uint16_t value = 0xFFFF;
            if (m_phy)
                value = reg == 1 ? (m_cable ? kBmsrLinkUp : kBmsrLinkDown) : 0;
            put16(r.out, kMiiData + 6, value);
            return r;
        }

        std::vector<ControlCommand> controlCommands() override
        {
            auto plug = [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                if (w.size() != 2 || w[1] != "cable")
                    return std::nullopt;
                const bool in = w[0] == "plug";
                if (in == m_cable)
                    return std::string(
                        in ? "error: the cable is already plugged in" : "error: no cable is plugged in");
                m_cable = in;
                return std::string(in ? "plugged cable (eth0 link up)" : "unplugged cable (eth0 link down)");
            };
            return { { "plug", "plug cable", plug }, { "unplug", "unplug cable", plug } };
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            members.emplace_back("ethernet",
                std::string("{\"phy\": ") + (m_phy ? "true" : "false")
                    + ", \"cable\": " + (m_cable ? "\"plugged\"" : "\"unplugged\"")
                    + ", \"mii_requests\": " + std::to_string(m_requests) + "}");
        }

    private:
        bool m_phy { true };
        bool m_cable { true };
        int m_requests { 0 };
    };

    bool parseEthernet(const std::string&, const std::string& key, const std::string& value,
        const std::string&, Scenario& s, std::string& error)
    {
        bool b;
        if (key == "phy") {
            if (!scenarioBool(value, b)) {
                error = "phy is yes or no";
                return false;
            }
        } else if (key == "cable") {
            if (value != "plugged" && value != "unplugged") {
                error = "cable is plugged or unplugged";
                return false;
            }
        } else {
            error = "unknown key \"" + key + "\" (phy, cable)";
            return false;
        }
        s.settings["ethernet"][key] = value;
        return true;
    }

}

extern const ModelType kEthernetModel = { "ethernet", { "ethernet" }, parseEthernet, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<EthernetModel>(board);
    } };

}
