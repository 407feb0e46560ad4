// The storage model: the NAND flash's MTD partitions as /proc/partitions
// lists them (the flash model's table, which also answers /proc/mtd), and a
// USB disk at /dev/sda that the controller plugs in and out ("plug usbdisk",
// "unplug usbdisk").
//
// Scenario section [storage]:
//   nand = yes|no              MTD partitions present (default yes)
//   usbdisk = plugged|unplugged  the disk at start (default plugged)

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "flash.h"
#include "memfile.h"

#include <unistd.h>

#include <cerrno>

namespace board {

namespace {

    const char kDiskPartitions[] = "   8        0    7812500 sda\n"
                                   "   8        1    7811072 sda1\n";

    class StorageModel : public DeviceModel {
    public:
        explicit StorageModel(BoardContext& board)
            : DeviceModel(board)
        {
            const auto& settings = board.scenario().settings;
            auto it = settings.find("storage");
            if (it != settings.end()) {
                auto nand = it->second.find("nand");
                if (nand != it->second.end())
                    scenarioBool(nand->second, m_nand);
                auto disk = it->second.find("usbdisk");
                if (disk != it->second.end())
                    m_disk = disk->second == "plugged";
            }
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            std::string text;
            if (path == "/proc/partitions") {
                text = "major minor  #blocks  name\n\n";
                if (m_nand)
                    text += mtdPartitionLines(m_board.scenario());
                if (m_disk)
                    text += kDiskPartitions;
            } else if (path == "/dev/sda" || path == "/dev/sda1") {
                if (!m_disk)
                    return OpenResult::failed(ENOENT);
                ++m_diskOpens;
            } else {
                return {};
            }
            const int fd = memoryFile("uishull-board-storage", text);
            if (fd < 0)
                return OpenResult::failed(errno);
            return OpenResult::opened(BOARD_KIND_FILE, fd);
        }

        std::vector<ControlCommand> controlCommands() override
        {
            auto plug = [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                if (w.size() != 2 || w[1] != "usbdisk")
                    return std::nullopt;
                const bool in = w[0] == "plug";
                if (in == m_disk)
                    return std::string(in ? "error: the USB disk is already plugged in"
                                          : "error: no USB disk is plugged in");
                m_disk = in;
                return std::string(in ? "plugged usbdisk as /dev/sda" : "unplugged usbdisk (/dev/sda)");
            };
            return { { "plug", "plug usbdisk", plug }, { "unplug", "unplug usbdisk", plug } };
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            members.emplace_back("storage",
                std::string("{\"nand\": ") + (m_nand ? "true" : "false")
                    + ", \"usbdisk\": " + (m_disk ? "\"plugged\"" : "\"unplugged\"")
                    + ", \"usbdisk_opens\": " + std::to_string(m_diskOpens) + "}");
        }

    private:
        bool m_nand { true };
        bool m_disk { true };
        int m_diskOpens { 0 };
    };

    bool parseStorage(const std::string&, const std::string& key, const std::string& value,
        const std::string&, Scenario& s, std::string& error)
    {
        bool b;
        if (key == "nand") {
            if (!scenarioBool(value, b)) {
                error = "nand is yes or no";
                return false;
            }
        } else if (key == "usbdisk") {
            if (value != "plugged" && value != "unplugged") {
                error = "usbdisk is plugged or unplugged";
                return false;
            }
        } else {
            error = "unknown key \"" + key + "\" (nand, usbdisk)";
            return false;
        }
        s.settings["storage"][key] = value;
        return true;
    }

}

extern const ModelType kStorageModel = { "storage", { "storage" }, parseStorage, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<StorageModel>(board);
    } };

}
