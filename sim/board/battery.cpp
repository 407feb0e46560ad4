// The charger driver's /proc/batt_config: which source powers the device.
//
// Scenario section [battery]:
//   supply_power = 0|1|2|missing   0 none, 1 battery, 2 external power
//                                  (default 1); missing: no such file

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "memfile.h"

#include <cerrno>

namespace board {

namespace {

    class BatteryModel : public DeviceModel {
    public:
        explicit BatteryModel(BoardContext& board)
            : DeviceModel(board)
        {
            const auto& settings = board.scenario().settings;
            auto it = settings.find("battery");
            if (it != settings.end()) {
                auto v = it->second.find("supply_power");
                if (v != it->second.end())
                    m_supply = v->second;
            }
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            if (path != "/proc/batt_config")
                return {};
            if (m_supply == "missing")
                return OpenResult::failed(ENOENT);
            ++m_reads;
            const int fd = memoryFile("uishull-board-batt",
                "supply_power=" + m_supply + "\ncapacity=76\nvoltage_now=3987000\nstatus="
                    + (m_supply == "2" ? "Charging" : "Discharging") + "\n");
            if (fd < 0)
                return OpenResult::failed(errno);
            return OpenResult::opened(BOARD_KIND_FILE, fd);
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            members.emplace_back("battery",
                "{\"supply_power\": " + jsonString(m_supply) + ", \"opens\": " + std::to_string(m_reads)
                    + "}");
        }

    private:
        std::string m_supply { "1" };
        int m_reads { 0 };
    };

    bool parseBattery(const std::string&, const std::string& key, const std::string& value,
        const std::string&, Scenario& s, std::string& error)
    {
        if (key != "supply_power") {
            error = "unknown key \"" + key + "\" (supply_power)";
            return false;
        }
        if (value != "0" && value != "1" && value != "2" && value != "missing") {
            error = "supply_power is 0, 1, 2 or missing";
            return false;
        }
        s.settings["battery"][key] = value;
        return true;
    }

}

extern const ModelType kBatteryModel = { "battery", { "battery" }, parseBattery, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<BatteryModel>(board);
    } };

}
