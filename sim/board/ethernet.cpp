// The Ethernet PHY of eth0 as its MII requests see it: the PHY's address and
// its basic mode status register (register 1) with the link bit following
// the cable, which the controller plugs in and out ("plug cable",
// "unplug cable"). A board without a PHY reads 0xFFFF, as an empty MII bus
// does.
//
// The network tools answer from the same state, as real ones would:
// "ifconfig eth0 up|down" raise and lower the interface, "udhcpc ... eth0 ..."
// gets a lease only while the link is up and a DHCP server answers (and,
// like the real client, drops the address it had first), and "ifconfig eth0"
// shows the interface's flags (RUNNING only with a link) and the address
// only while it holds a lease. A scenario's [commands] rule for one of these
// lines still answers instead.
//
// Scenario section [ethernet]:
//   phy = yes|no                  a PHY answers (default yes)
//   cable = plugged|unplugged     the cable at start (default plugged)
//   dhcp = ADDRESS|none           the address a DHCP server leases on the
//                                 wire (default 192.168.1.23), or no server

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "memfile.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <string>

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
            auto dhcp = it->second.find("dhcp");
            if (dhcp != it->second.end())
                m_dhcp = dhcp->second == "none" ? std::string() : dhcp->second;
        }

        bool command(const std::vector<std::string>& argv, CommandAnswer& answer) override
        {
            if (argv.empty())
                return false;
            const std::string& path = argv[0];
            const size_t slash = path.rfind('/');
            const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
            answer = { 0, BOARD_COMMAND_STAND_IN, {} };
            if (name == "ifconfig" && argv.size() >= 2 && argv[1] == "eth0") {
                if (argv.size() == 2) {
                    answer.output = ifconfigText();
                    return true;
                }
                if (argv.size() == 3 && (argv[2] == "up" || argv[2] == "down")) {
                    m_up = argv[2] == "up";
                    return true;
                }
                return false;
            }
            if (name == "udhcpc") {
                int tries = 3;
                bool eth0 = false;
                for (size_t i = 1; i < argv.size(); ++i) {
                    if (argv[i] == "eth0")
                        eth0 = true;
                    else if (argv[i] == "-t" && i + 1 < argv.size())
                        tries = std::max(1, std::min(10, std::atoi(argv[++i].c_str())));
                }
                if (!eth0)
                    return false;
                answer = dhcp(tries);
                return true;
            }
            return false;
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
                    + ", \"cable\": " + (m_cable ? "\"plugged\"" : "\"unplugged\"") + ", \"mii_requests\": "
                    + std::to_string(m_requests) + ", \"up\": " + (m_up ? "true" : "false")
                    + ", \"address\": " + (m_leased ? jsonString(m_dhcp) : std::string("null")) + "}");
        }

    private:
        bool link() const { return m_phy && m_cable; }

        // The old net-tools layout.
        std::string ifconfigText() const
        {
            std::string t = "eth0      Link encap:Ethernet  HWaddr 02:00:00:00:00:01  \n";
            if (m_leased)
                t += "          inet addr:" + m_dhcp + "  Bcast:" + withLastByte(m_dhcp, 255)
                    + "  Mask:255.255.255.0\n";
            std::string flags = m_up ? "UP BROADCAST " : "BROADCAST ";
            if (m_up && link())
                flags += "RUNNING ";
            t += "          " + flags + "MULTICAST  MTU:1500  Metric:1\n";
            t += "          RX packets:" + std::string(m_leased ? "12" : "0")
                + " errors:0 dropped:0 overruns:0 frame:0\n";
            return t;
        }

        CommandAnswer dhcp(int tries)
        {
            // The client gives up the address it had before it asks.
            m_leased = false;
            CommandAnswer a { 0, BOARD_COMMAND_STAND_IN, "udhcpc: started, v1.36.1\n" };
            if (link() && !m_dhcp.empty()) {
                const std::string server = withLastByte(m_dhcp, 1);
                a.output += "udhcpc: broadcasting discover\nudhcpc: broadcasting select for " + m_dhcp
                    + ", server " + server + "\nudhcpc: lease of " + m_dhcp + " obtained from " + server
                    + ", lease time 86400\n";
                m_leased = true;
                return a;
            }
            for (int i = 0; i < tries; ++i)
                a.output += "udhcpc: broadcasting discover\n";
            a.output += "udhcpc: no lease, failing\n";
            a.status = 1;
            return a;
        }

        // a.b.c.d with d replaced (the subnet's broadcast or its server).
        static std::string withLastByte(const std::string& address, int last)
        {
            const size_t dot = address.rfind('.');
            return (dot == std::string::npos ? address : address.substr(0, dot)) + "." + std::to_string(last);
        }

        bool m_phy { true };
        bool m_cable { true };
        int m_requests { 0 };
        std::string m_dhcp { "192.168.1.23" };
        bool m_up { false };
        bool m_leased { false };
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
        } else if (key == "dhcp") {
            in_addr a {};
            if (value != "none" && inet_pton(AF_INET, value.c_str(), &a) != 1) {
                error = "dhcp is an IPv4 address or none";
                return false;
            }
        } else {
            error = "unknown key \"" + key + "\" (phy, cable, dhcp)";
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
