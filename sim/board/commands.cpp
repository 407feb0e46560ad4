#include "commands.h"

#include "../preload/board_protocol.h"
#include "device_model.h"

#include <fnmatch.h>
#include <unistd.h>

namespace board {

const std::vector<const char*>& standInNames()
{
    static const std::vector<const char*> names = { "poweroff", "reboot", "halt", "shutdown", "systemctl",
        "ifconfig", "udhcpc", "iwlist", "lsmod", "rm", "sync" };
    return names;
}

const std::vector<const char*>& powerCommandNames()
{
    static const std::vector<const char*> names = { "poweroff", "reboot", "halt", "shutdown", "systemctl" };
    return names;
}

namespace {

    // Commands that run for real (inside the confinement) unless the scenario answers for them.
    const char* const kRealByDefault[] = { "rm", "sync" };
    constexpr size_t kMaxRecorded = 10000;

    std::string jsonList(const std::vector<std::string>& items)
    {
        std::string j = "[";
        for (size_t i = 0; i < items.size(); ++i)
            j += (i ? ", " : "") + jsonString(items[i]);
        return j + "]";
    }

    class CommandsModel : public DeviceModel {
    public:
        using DeviceModel::DeviceModel;

        bool start(std::string&) override
        {
            const std::string bin = m_board.runDir() + "/board/bin/";
            for (const char* name : standInNames())
                symlink("uishull-board-command", (bin + name).c_str());
            return true;
        }

        void shell(const std::string& line) override
        {
            if (m_shell.size() < kMaxRecorded)
                m_shell.push_back(line);
        }

        bool command(const std::vector<std::string>& argv, CommandAnswer& answer) override
        {
            std::string line;
            for (const auto& w : argv)
                line += (line.empty() ? "" : " ") + w;
            const std::string name = argv.empty() ? std::string() : argv[0];
            if (m_commands.size() < kMaxRecorded)
                m_commands.push_back(line);
            answer = { 0, BOARD_COMMAND_STAND_IN, {} };
            for (const auto& rule : m_board.scenario().commands) {
                if (fnmatch(rule.pattern.c_str(), line.c_str(), 0) == 0) {
                    answer = { rule.status, BOARD_COMMAND_STAND_IN, rule.output };
                    return true;
                }
            }
            for (const char* p : powerCommandNames()) {
                if (name == p) {
                    m_power.push_back(line);
                    m_board.note("the program ran \"" + line + "\" (recorded, not run)");
                    return true;
                }
            }
            for (const char* r : kRealByDefault) {
                if (name == r) {
                    answer.how = BOARD_COMMAND_RUN;
                    return true;
                }
            }
            // Another model may answer from its state (the network tools
            // from eth0's); the board's default is an empty success.
            return false;
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            members.emplace_back("shell", jsonList(m_shell));
            members.emplace_back("commands", jsonList(m_commands));
            members.emplace_back("power", jsonList(m_power));
        }

    private:
        std::vector<std::string> m_shell; // what the program gave system and popen
        std::vector<std::string> m_commands; // the stand-in commands that ran
        std::vector<std::string> m_power; // poweroff, reboot ... (never run)
    };

    // C-style escapes in command output: \n, \t, \\ and \s are all a scenario needs.
    bool unescape(const std::string& in, std::string& out)
    {
        out.clear();
        for (size_t i = 0; i < in.size(); ++i) {
            if (in[i] != '\\') {
                out += in[i];
                continue;
            }
            if (++i == in.size())
                return false;
            switch (in[i]) {
            case 'n':
                out += '\n';
                break;
            case 't':
                out += '\t';
                break;
            case '\\':
                out += '\\';
                break;
            case 's':
                out += ' ';
                break;
            default:
                return false;
            }
        }
        return true;
    }

    bool parseCommand(const std::string&, const std::string& key, const std::string& value,
        const std::string&, Scenario& s, std::string& error)
    {
        std::string status = value;
        std::string rest;
        size_t sp = value.find_first_of(" \t");
        if (sp != std::string::npos) {
            status = value.substr(0, sp);
            const size_t from = value.find_first_not_of(" \t\r", sp);
            rest = from == std::string::npos ? std::string() : value.substr(from);
        }
        CommandRule rule;
        rule.pattern = key;
        if (!scenarioInt(status, 0, 255, rule.status)) {
            error = "a command's value is STATUS [OUTPUT], STATUS from 0 to 255";
            return false;
        }
        if (!unescape(rest, rule.output)) {
            error = "bad escape in the output (\\n, \\t, \\s, \\\\)";
            return false;
        }
        // Commands print whole lines.
        if (!rule.output.empty() && rule.output.back() != '\n')
            rule.output += '\n';
        s.commands.push_back(rule);
        return true;
    }

}

extern const ModelType kCommandsModel = { "commands", { "commands" }, parseCommand, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> {
        return std::make_unique<CommandsModel>(board);
    } };

}
