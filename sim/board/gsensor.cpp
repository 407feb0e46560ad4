// The g-sensor driver's /proc/gsensor_config: "sensor_test=1" starts its
// self-test, each later open reads "test_pass=0" until the test has passed
// (after a number of polls), "sensor_testend=1" ends it. The markers written
// are recorded in the state.
//
// Scenario section [sensor]:
//   gsensor = yes|no        the file exists (default yes)
//   pass_after = N|never    the poll (1 to 100) from which it reads
//                           "test_pass=1" (default 1)

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "memfile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>

namespace board {

namespace {

    constexpr size_t kMaxMarkers = 1000;

    class GsensorModel : public DeviceModel {
    public:
        explicit GsensorModel(BoardContext& board)
            : DeviceModel(board)
        {
            const auto& settings = board.scenario().settings;
            auto it = settings.find("sensor");
            if (it == settings.end())
                return;
            auto present = it->second.find("gsensor");
            if (present != it->second.end())
                scenarioBool(present->second, m_present);
            auto pass = it->second.find("pass_after");
            if (pass != it->second.end())
                m_passAfter = pass->second == "never" ? 0 : std::stoi(pass->second);
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            if (path != "/proc/gsensor_config")
                return {};
            if (!m_present)
                return OpenResult::failed(ENOENT);
            // What the program wrote through earlier opens counts first.
            collectWrites();
            // Every open while the self-test runs is a poll; the answer waits
            // in the file for a read.
            std::string answer = "test_pass=0\n";
            if (m_running) {
                ++m_polls;
                if (m_passAfter > 0 && m_polls >= m_passAfter)
                    answer = "test_pass=1\n";
            }
            const int fd = memoryFile("uishull-board-gsensor", answer);
            if (fd < 0)
                return OpenResult::failed(errno);
            // The board keeps its own description of the file to see what
            // the program writes over the answer.
            const int mine = fcntl(fd, F_DUPFD_CLOEXEC, 0);
            if (mine >= 0)
                m_files.push_back({ mine, answer });
            return OpenResult::opened(BOARD_KIND_FILE, fd);
        }

        ~GsensorModel() override
        {
            for (const auto& f : m_files)
                close(f.fd);
        }

        // A marker is what the program wrote over the answer of an open.
        void collectWrites()
        {
            for (const auto& f : m_files) {
                char buf[256];
                const ssize_t n = pread(f.fd, buf, sizeof buf, 0);
                std::string text(buf, n > 0 ? static_cast<size_t>(n) : 0);
                close(f.fd);
                if (text == f.answer)
                    continue;
                if (text.size() > f.answer.size() || text.compare(0, f.answer.size(), f.answer) != 0)
                    marker(text);
            }
            m_files.clear();
        }

        void marker(std::string text)
        {
            // Only the bytes written count, not what is left of the answer after them.
            const size_t cut = text.find_first_of("\n", 0);
            if (cut != std::string::npos)
                text.resize(cut);
            if (m_markers.size() < kMaxMarkers)
                m_markers.push_back(text);
            if (text == "sensor_test=1") {
                m_running = true;
                m_polls = 0;
            } else if (text == "sensor_testend=1") {
                m_running = false;
            }
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            collectWrites();
            std::ostringstream j;
            j << "{\"present\": " << (m_present ? "true" : "false")
              << ", \"running\": " << (m_running ? "true" : "false") << ", \"polls\": " << m_polls
              << ", \"markers\": [";
            for (size_t i = 0; i < m_markers.size(); ++i)
                j << (i ? ", " : "") << jsonString(m_markers[i]);
            j << "]}";
            members.emplace_back("gsensor", j.str());
        }

    private:
        bool m_present { true };
        int m_passAfter { 1 }; // 0: never
        bool m_running { false };
        int m_polls { 0 };
        std::vector<std::string> m_markers;
        struct File {
            int fd;
            std::string answer;
        };
        std::vector<File> m_files; // the opens not looked at yet
    };

    bool parseSensor(const std::string&, const std::string& key, const std::string& value, const std::string&,
        Scenario& s, std::string& error)
    {
        bool b;
        int n;
        if (key == "gsensor") {
            if (!scenarioBool(value, b)) {
                error = "gsensor is yes or no";
                return false;
            }
        } else if (key == "pass_after") {
            if (value != "never" && !scenarioInt(value, 1, 100, n)) {
                error = "pass_after is a number from 1 to 100 or never";
                return false;
            }
        } else {
            error = "unknown key \"" + key + "\" (gsensor, pass_after)";
            return false;
        }
        s.settings["sensor"][key] = value;
        return true;
    }

}

extern const ModelType kGsensorModel = { "gsensor", { "sensor" }, parseSensor, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<GsensorModel>(board);
    } };

}
