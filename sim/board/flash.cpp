// The flash driver's boot environment: /dev/mtd0 answers the requests for one
// variable (get 0x81984D14, set 0x81984D15) with the 408-byte record the
// program fills: the name at 0 (200 bytes), at 200 the value's address (0 on
// a set means delete), the value text at 204 (200 bytes), at 404 the length
// (get: the caller's capacity in, the value's length out). The record has no
// pointer-sized field the driver reads, so it is the same on every
// architecture.
//
// Scenario section [bootenv]: one "name = value" line a variable, in the
// order the boot loader keeps them (a name once; names and values under 200
// bytes; the whole list within the 64 KiB environment). Without the section
// the environment is empty.

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "memfile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

namespace board {

namespace {

    constexpr uint32_t kGetRequest = 0x81984D14u;
    constexpr uint32_t kSetRequest = 0x81984D15u;
    constexpr size_t kRecordSize = 408;
    constexpr size_t kNameField = 200;
    constexpr size_t kPointerAt = 200;
    constexpr size_t kValueAt = 204;
    constexpr size_t kValueField = 200;
    constexpr size_t kLengthAt = 404;
    // The data area of the redundant layout, the smaller of the two: the
    // environment must fit either.
    constexpr size_t kEnvData = 0xFFFB;
    // Where [bootenv] keeps the order of its names (a key no variable can have).
    const char kOrderKey[] = "=order";

    struct Variable {
        std::string name;
        std::string value;
    };

    // The bytes name=value<NUL>... and the final NUL take in an image.
    size_t envBytes(const std::vector<Variable>& vars)
    {
        size_t n = 1;
        for (const auto& v : vars)
            n += v.name.size() + 1 + v.value.size() + 1;
        return n;
    }

    std::vector<Variable> scenarioEnvironment(const Scenario& s)
    {
        std::vector<Variable> vars;
        auto it = s.settings.find("bootenv");
        if (it == s.settings.end())
            return vars;
        auto order = it->second.find(kOrderKey);
        if (order == it->second.end())
            return vars;
        std::istringstream names(order->second);
        std::string name;
        while (std::getline(names, name)) {
            auto value = it->second.find(name);
            if (value != it->second.end())
                vars.push_back({ name, value->second });
        }
        return vars;
    }

    uint32_t get32(const std::vector<uint8_t>& b, size_t at)
    {
        return static_cast<uint32_t>(b[at]) | static_cast<uint32_t>(b[at + 1]) << 8
            | static_cast<uint32_t>(b[at + 2]) << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
    }

    // A NUL-terminated text of a fixed field; false when the field has no NUL.
    bool fieldText(const std::vector<uint8_t>& b, size_t at, size_t size, std::string& out)
    {
        const char* p = reinterpret_cast<const char*>(&b[at]);
        const size_t n = strnlen(p, size);
        if (n == size)
            return false;
        out.assign(p, n);
        return true;
    }

    class FlashModel : public DeviceModel {
    public:
        explicit FlashModel(BoardContext& board)
            : DeviceModel(board)
            , m_env(scenarioEnvironment(board.scenario()))
        {
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            if (path != "/dev/mtd0")
                return {};
            // Reading the node itself gives nothing: the program only asks it.
            const int fd = memoryFile("uishull-board-mtd0", std::string());
            if (fd < 0)
                return OpenResult::failed(errno);
            return OpenResult::opened(BOARD_KIND_FILE, fd);
        }

        IoctlResult ioctl(Node&, uint32_t request, uint64_t, const std::vector<uint8_t>& in) override
        {
            if (request != kGetRequest && request != kSetRequest)
                return IoctlResult::fail(ENOTTY);
            if (in.size() < kRecordSize)
                return IoctlResult::fail(EFAULT);
            std::string name;
            if (!fieldText(in, 0, kNameField, name) || name.empty() || name.find('=') != std::string::npos)
                return IoctlResult::fail(EINVAL);
            return request == kGetRequest ? get(name, in) : set(name, in);
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            std::ostringstream j;
            j << "{\"variables\": {";
            for (size_t i = 0; i < m_env.size(); ++i)
                j << (i ? ", " : "") << jsonString(m_env[i].name) << ": " << jsonString(m_env[i].value);
            j << "}, \"gets\": " << m_gets << ", \"sets\": " << m_sets << "}";
            members.emplace_back("bootenv", j.str());
        }

    private:
        std::vector<Variable>::iterator find(const std::string& name)
        {
            for (auto it = m_env.begin(); it != m_env.end(); ++it) {
                if (it->name == name)
                    return it;
            }
            return m_env.end();
        }

        // The value and its length in the record; a missing name is ENOENT.
        IoctlResult get(const std::string& name, const std::vector<uint8_t>& in)
        {
            ++m_gets;
            auto it = find(name);
            if (it == m_env.end())
                return IoctlResult::fail(ENOENT);
            std::vector<uint8_t> out(in.begin(), in.begin() + kRecordSize);
            std::memset(&out[kValueAt], 0, kValueField);
            std::memcpy(&out[kValueAt], it->value.data(), it->value.size());
            put32(out, kLengthAt, static_cast<uint32_t>(it->value.size()));
            return { 0, 0, out };
        }

        // Stores (the variable moves to the end of the list, as the boot
        // loader's own editor does) or deletes; deleting a missing name is
        // no error.
        IoctlResult set(const std::string& name, const std::vector<uint8_t>& in)
        {
            ++m_sets;
            const bool store = get32(in, kPointerAt) != 0;
            std::string value;
            if (store && !fieldText(in, kValueAt, kValueField, value))
                return IoctlResult::fail(EINVAL);
            std::vector<Variable> env = m_env;
            auto it = std::find_if(env.begin(), env.end(), [&](const Variable& v) { return v.name == name; });
            if (it != env.end())
                env.erase(it);
            if (store)
                env.push_back({ name, value });
            if (envBytes(env) > kEnvData)
                return IoctlResult::fail(ENOSPC);
            m_env = env;
            return { 0, 0, {} };
        }

        std::vector<Variable> m_env;
        int m_gets { 0 };
        int m_sets { 0 };
    };

    bool parseBootenv(const std::string&, const std::string& key, const std::string& value,
        const std::string&, Scenario& s, std::string& error)
    {
        if (key.size() >= kNameField) {
            error = "a variable name is at most 199 bytes";
            return false;
        }
        if (value.size() >= kValueField) {
            error = "a value is at most 199 bytes";
            return false;
        }
        auto& section = s.settings["bootenv"];
        if (section.count(key)) {
            error = "variable \"" + key + "\" is given twice";
            return false;
        }
        std::vector<Variable> vars = scenarioEnvironment(s);
        vars.push_back({ key, value });
        if (envBytes(vars) > kEnvData) {
            error = "the environment does not fit its 64 KiB";
            return false;
        }
        section[key] = value;
        section[kOrderKey] += key + "\n";
        return true;
    }

}

extern const ModelType kFlashModel = { "flash", { "bootenv" }, parseBootenv, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> { return std::make_unique<FlashModel>(board); } };

}
