// The vibrator's timed-output control file: each number written is a pulse
// in milliseconds, recorded in the state.
//
// Scenario section [motor]:
//   vibrator = yes|no   the control file exists (default yes)

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "memfile.h"

#include <cerrno>
#include <cstdlib>
#include <sstream>

namespace board {

namespace {

    constexpr size_t kMaxPulses = 1000;

    class VibratorModel : public DeviceModel {
    public:
        explicit VibratorModel(BoardContext& board)
            : DeviceModel(board)
        {
            const auto& settings = board.scenario().settings;
            auto it = settings.find("motor");
            if (it != settings.end()) {
                auto v = it->second.find("vibrator");
                if (v != it->second.end())
                    scenarioBool(v->second, m_present);
            }
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            if (path != "/sys/class/timed_output/vibrator/enable")
                return {};
            if (!m_present)
                return OpenResult::failed(ENOENT);
            int boardEnd = -1;
            const int fd = packetPair(&boardEnd);
            if (fd < 0)
                return OpenResult::failed(errno);
            return OpenResult::opened(BOARD_KIND_FILE, fd, boardEnd);
        }

        // Each write is one value, as sysfs takes it.
        void written(Node&, const char* data, size_t size) override
        {
            const std::string text(data, size);
            char* end = nullptr;
            const long ms = std::strtol(text.c_str(), &end, 10);
            if (end == text.c_str()) {
                m_board.note("the vibrator was given \"" + text + "\", not a number");
                return;
            }
            if (m_pulses.size() < kMaxPulses)
                m_pulses.push_back(ms);
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            std::ostringstream j;
            j << "{\"present\": " << (m_present ? "true" : "false") << ", \"pulses\": [";
            for (size_t i = 0; i < m_pulses.size(); ++i)
                j << (i ? ", " : "") << m_pulses[i];
            j << "]}";
            members.emplace_back("vibrator", j.str());
        }

    private:
        bool m_present { true };
        std::vector<long> m_pulses;
    };

    bool parseMotor(const std::string&, const std::string& key, const std::string& value, const std::string&,
        Scenario& s, std::string& error)
    {
        bool b;
        if (key != "vibrator") {
            error = "unknown key \"" + key + "\" (vibrator)";
            return false;
        }
        if (!scenarioBool(value, b)) {
            error = "vibrator is yes or no";
            return false;
        }
        s.settings["motor"][key] = value;
        return true;
    }

}

extern const ModelType kVibratorModel = { "vibrator", { "motor" }, parseMotor, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<VibratorModel>(board);
    } };

}
