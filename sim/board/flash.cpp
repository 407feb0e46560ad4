// The board's flash: the boot loader's environment in the "u-boot env"
// partition(s), reached two ways.
//
// - /dev/mtd0: the flash driver answers the requests for one variable (get
//   0x81984D14, set 0x81984D15) with the 408-byte record the program fills:
//   the name at 0 (200 bytes), at 200 the value's address (0 on a set means
//   delete), the value text at 204 (200 bytes), at 404 the length (get: the
//   caller's capacity in, the value's length out). The driver reads no
//   pointer-sized field, so the record is the same on every architecture.
//   It reads the copy the boot loader would take and writes a change back
//   the way the boot loader does (the inactive copy first).
// - /proc/mtd and /dev/mtdblockN: the partitions, the environment's backed by
//   64 KiB images in RUNDIR/flash/mtdblockN. The layout follows the chip
//   identifier the display driver reports: a single copy (CRC-32, data) on
//   the chips 0x3357xxxx and 0x3400xxxx, two copies (CRC-32, active flag,
//   data) in two partitions on any other. A block node is a stream socket:
//   the board puts the partition's contents in it at open (reading past them
//   is the end of the device), and what the program writes lands on the
//   partition from its start, as through a fresh open of the block device.
//
// A power loss after N bytes (scenario or "ctl power-loss N") cuts the write
// in progress at that byte; from then on the flash takes nothing: the rest
// of the write is lost and every later open of the nodes fails with EIO.
//
// Scenario section [bootenv]: one "name = value" line a variable, in the
// order the boot loader keeps them (a name once; names and values under 200
// bytes; the whole list within the environment). Without it, an empty
// environment. Section [flash]:
//   chip = ID              the display driver's chip identifier (default 0x35100000)
//   image1 = FILE          copy 1 from a 64 KiB image file instead of [bootenv]
//   image2 = FILE          copy 2 likewise (two-copy layout only)
//   flag1 = N, flag2 = N   the active flags of the built copies (0 to 255;
//                          default 1 and 0: copy 1 active)
//   corrupt = none|copy1|copy2|both   built or given copies whose CRC is spoiled
//   power_loss = N|never   the power goes after N bytes written to the
//                          environment partitions in this run (default never)
// The board without NAND ([storage] nand = no) has neither.

#include "flash.h"

#include "../preload/board_protocol.h"
#include "device_model.h"
#include "memfile.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
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
    constexpr size_t kImage = 0x10000;
    constexpr size_t kFlagAt = 4;
    // The data area of the two-copy layout, the smaller of the two: the
    // scenario's environment must fit either.
    constexpr size_t kEnvData = 0xFFFB;
    constexpr uint32_t kDefaultChip = 0x35100000u;
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

    std::string flashSetting(const Scenario& s, const std::string& key)
    {
        auto it = s.settings.find("flash");
        if (it == s.settings.end())
            return std::string();
        auto v = it->second.find(key);
        return v == it->second.end() ? std::string() : v->second;
    }

    bool hasNand(const Scenario& s)
    {
        bool nand = true;
        auto it = s.settings.find("storage");
        if (it != s.settings.end()) {
            auto v = it->second.find("nand");
            if (v != it->second.end())
                scenarioBool(v->second, nand);
        }
        return nand;
    }

    bool parseChip(const std::string& text, uint32_t& out)
    {
        if (text.empty() || text[0] == '-' || text[0] == '+')
            return false;
        char* end = nullptr;
        errno = 0;
        const unsigned long long v = std::strtoull(text.c_str(), &end, 0);
        if (errno || *end || v > 0xFFFFFFFFull)
            return false;
        out = static_cast<uint32_t>(v);
        return true;
    }

    bool singleCopyChip(uint32_t chip)
    {
        const uint32_t family = chip & 0xFFFF0000u;
        return family == 0x33570000u || family == 0x34000000u;
    }

    uint32_t get32(const uint8_t* b)
    {
        return static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8
            | static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24;
    }

    // The standard CRC-32 (reflected 0xEDB88320, all ones in, complemented out).
    uint32_t crc32(const uint8_t* p, size_t n)
    {
        static const std::vector<uint32_t> table = [] {
            std::vector<uint32_t> t(256);
            for (uint32_t i = 0; i < 256; ++i) {
                uint32_t c = i;
                for (int k = 0; k < 8; ++k)
                    c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
                t[i] = c;
            }
            return t;
        }();
        uint32_t c = 0xFFFFFFFFu;
        for (size_t i = 0; i < n; ++i)
            c = table[(c ^ p[i]) & 0xFF] ^ (c >> 8);
        return c ^ 0xFFFFFFFFu;
    }

    size_t dataAt(bool single)
    {
        return single ? 4 : 5;
    }

    std::vector<uint8_t> buildImage(const std::vector<Variable>& env, bool single, uint8_t flag)
    {
        std::vector<uint8_t> image(kImage, 0);
        size_t at = dataAt(single);
        for (const auto& v : env) {
            const std::string entry = v.name + "=" + v.value;
            std::memcpy(&image[at], entry.data(), entry.size());
            at += entry.size() + 1;
        }
        if (!single)
            image[kFlagAt] = flag;
        put32(image, 0, crc32(&image[dataAt(single)], kImage - dataAt(single)));
        return image;
    }

    bool crcValid(const std::vector<uint8_t>& image, bool single)
    {
        return get32(image.data()) == crc32(&image[dataAt(single)], kImage - dataAt(single));
    }

    std::vector<Variable> imageEnvironment(const std::vector<uint8_t>& image, bool single)
    {
        std::vector<Variable> vars;
        size_t at = dataAt(single);
        while (at < kImage && image[at] != 0) {
            size_t end = at;
            while (end < kImage && image[end] != 0)
                ++end;
            const std::string entry(reinterpret_cast<const char*>(&image[at]), end - at);
            const size_t eq = entry.find('=');
            if (eq != std::string::npos)
                vars.push_back({ entry.substr(0, eq), entry.substr(eq + 1) });
            at = end + 1;
        }
        return vars;
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

    struct MtdPartition {
        const char* name;
        uint32_t size;
        uint32_t erase;
    };

    // The NAND's partitions: the boot loader, the environment copies, the
    // kernel and the root file system in 256 MiB.
    std::vector<MtdPartition> mtdTable(const Scenario& s)
    {
        std::vector<MtdPartition> parts;
        if (!hasNand(s))
            return parts;
        parts.push_back({ "boot", 0x400000, 0x20000 });
        parts.push_back({ "u-boot env", kImage, kImage });
        if (!singleCopyChip(chipIdentifier(s)))
            parts.push_back({ "u-boot env", kImage, kImage });
        parts.push_back({ "kernel", 0x800000, 0x20000 });
        uint32_t used = 0;
        for (const auto& p : parts)
            used += p.size;
        parts.push_back({ "rootfs", 0x10000000u - used, 0x20000 });
        return parts;
    }

    bool readImageFile(const std::string& path, std::vector<uint8_t>& out, std::string& error)
    {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            error = path + ": cannot be read";
            return false;
        }
        out.assign(kImage + 1, 0);
        in.read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(out.size()));
        if (in.gcount() != static_cast<std::streamsize>(kImage)) {
            error = path + ": an environment image is 65536 bytes";
            return false;
        }
        out.resize(kImage);
        return true;
    }

    class FlashModel : public DeviceModel {
    public:
        explicit FlashModel(BoardContext& board)
            : DeviceModel(board)
        {
            const Scenario& s = board.scenario();
            m_nand = hasNand(s);
            m_chip = chipIdentifier(s);
            m_single = singleCopyChip(m_chip);
            const std::string loss = flashSetting(s, "power_loss");
            if (!loss.empty() && loss != "never")
                m_budget = std::atoll(loss.c_str());
        }

        ~FlashModel() override
        {
            for (auto& p : m_parts) {
                if (p.fileFd >= 0)
                    close(p.fileFd);
            }
        }

        bool start(std::string& error) override
        {
            if (!m_nand)
                return true;
            const Scenario& s = m_board.scenario();
            const std::vector<Variable> env = scenarioEnvironment(s);
            const int copies = m_single ? 1 : 2;
            if (m_single && !flashSetting(s, "image2").empty()) {
                error = "[flash] image2: the chip keeps a single copy of the environment";
                return false;
            }
            const std::string dir = m_board.runDir() + "/flash";
            mkdir(dir.c_str(), 0755);
            const std::string corrupt = flashSetting(s, "corrupt");
            for (int i = 0; i < copies; ++i) {
                Partition p;
                p.mtd = i + 1;
                const std::string n = std::to_string(i + 1);
                const std::string flag = flashSetting(s, "flag" + n);
                const uint8_t defaultFlag = i == 0 ? 1 : 0;
                p.image = buildImage(env, m_single,
                    flag.empty() ? defaultFlag : static_cast<uint8_t>(std::atoi(flag.c_str())));
                const std::string file = flashSetting(s, "image" + n);
                if (!file.empty() && !readImageFile(file, p.image, error))
                    return false;
                if (corrupt == "both" || corrupt == "copy" + n)
                    p.image[0] ^= 0xFF;
                p.file = "flash/mtdblock" + n;
                p.fileFd = ::open(
                    (m_board.runDir() + "/" + p.file).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
                if (p.fileFd < 0
                    || pwrite(p.fileFd, p.image.data(), kImage, 0) != static_cast<ssize_t>(kImage)) {
                    error = "cannot write " + m_board.runDir() + "/" + p.file + ": " + std::strerror(errno);
                    return false;
                }
                m_parts.push_back(std::move(p));
            }
            return true;
        }

        OpenResult open(const std::string& path, const Client&) override
        {
            if (path == "/proc/mtd")
                return openText(procMtd());
            if (!m_nand)
                return {};
            if (path == "/dev/mtd0") {
                if (!m_powered)
                    return OpenResult::failed(EIO);
                // Reading the node itself gives nothing: the program only asks it.
                return openText(std::string());
            }
            const std::string prefix = "/dev/mtdblock";
            if (path.compare(0, prefix.size(), prefix) != 0)
                return {};
            const std::string number = path.substr(prefix.size());
            Partition* part = nullptr;
            for (auto& p : m_parts) {
                if (number == std::to_string(p.mtd))
                    part = &p;
            }
            if (!part)
                return {};
            if (!m_powered)
                return OpenResult::failed(EIO);
            collectWrites();
            return openBlock(*part);
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
            collectWrites();
            if (!m_powered)
                return IoctlResult::fail(EIO);
            return request == kGetRequest ? get(name, in) : set(name, in);
        }

        void written(Node& node, const char* data, size_t size) override
        {
            auto at = m_offsets.find(node.boardFd);
            if (at == m_offsets.end())
                return;
            for (auto& p : m_parts) {
                if (p.mtd == node.device)
                    writeFlash(p, at->second, reinterpret_cast<const uint8_t*>(data), size);
            }
            at->second += size;
        }

        void closed(Node& node) override { m_offsets.erase(node.boardFd); }

        std::vector<ControlCommand> controlCommands() override
        {
            return { { "power-loss", "power-loss N|off",
                [this](const std::vector<std::string>& w) -> std::optional<std::string> {
                    long n = 0;
                    if (w.size() == 2 && w[1] == "off") {
                        m_budget = -1;
                        return std::string("no power loss");
                    }
                    if (w.size() != 2 || !parseNumber(w[1], 0, 1L << 30, n))
                        return std::string(
                            "error: power-loss N|off (N bytes still written to the environment)");
                    collectWrites();
                    if (!m_powered)
                        return std::string("error: the power is already lost");
                    m_budget = n;
                    return "the power goes after " + std::to_string(n) + " more bytes written";
                } } };
        }

        void state(std::vector<std::pair<std::string, std::string>>& members) override
        {
            collectWrites();
            const int copy = chosenCopy();
            std::vector<Variable> env;
            if (copy >= 0)
                env = imageEnvironment(m_parts[static_cast<size_t>(copy)].image, m_single);
            std::ostringstream j;
            j << "{\"variables\": {";
            for (size_t i = 0; i < env.size(); ++i)
                j << (i ? ", " : "") << jsonString(env[i].name) << ": " << jsonString(env[i].value);
            j << "}, \"copy\": " << (copy >= 0 ? std::to_string(copy + 1) : "null")
              << ", \"gets\": " << m_gets << ", \"sets\": " << m_sets << "}";
            members.emplace_back("bootenv", j.str());

            char chip[16];
            std::snprintf(chip, sizeof chip, "0x%08x", m_chip);
            std::ostringstream f;
            f << "{\"chip\": \"" << chip << "\", \"layout\": \"" << (m_single ? "single" : "redundant")
              << "\", \"partitions\": [";
            for (size_t i = 0; i < m_parts.size(); ++i) {
                const Partition& p = m_parts[i];
                f << (i ? ", " : "") << "{\"device\": \"/dev/mtdblock" << p.mtd
                  << "\", \"file\": " << jsonString(p.file)
                  << ", \"crc_valid\": " << (crcValid(p.image, m_single) ? "true" : "false");
                if (!m_single)
                    f << ", \"flag\": " << static_cast<int>(p.image[kFlagAt]);
                f << ", \"bytes_written\": " << p.bytesWritten << "}";
            }
            f << "], \"bytes_written\": " << m_written << ", \"power\": \"" << (m_powered ? "on" : "lost")
              << "\"";
            if (!m_powered)
                f << ", \"power_lost_after\": " << m_written;
            f << "}";
            members.emplace_back("flash", f.str());
        }

    private:
        struct Partition {
            int mtd { 0 };
            std::vector<uint8_t> image;
            std::string file; // relative to the run directory
            int fileFd { -1 };
            size_t bytesWritten { 0 };
        };

        std::string procMtd() const
        {
            std::string text = "dev:    size   erasesize  name\n";
            const auto parts = mtdTable(m_board.scenario());
            for (size_t i = 0; i < parts.size(); ++i) {
                char line[96];
                std::snprintf(line, sizeof line, "mtd%zu: %08x %08x \"%s\"\n", i, parts[i].size,
                    parts[i].erase, parts[i].name);
                text += line;
            }
            return text;
        }

        static OpenResult openText(const std::string& text)
        {
            const int fd = memoryFile("uishull-board-flash", text);
            if (fd < 0)
                return OpenResult::failed(errno);
            return OpenResult::opened(BOARD_KIND_FILE, fd);
        }

        // A stream pair holding the partition's contents, then its end.
        OpenResult openBlock(const Partition& part)
        {
            int sv[2];
            if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0)
                return OpenResult::failed(errno);
            const int size = 4 * static_cast<int>(kImage);
            setsockopt(sv[0], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
            size_t done = 0;
            while (done < kImage) {
                const ssize_t n = send(sv[0], part.image.data() + done, kImage - done, MSG_NOSIGNAL);
                if (n <= 0)
                    break;
                done += static_cast<size_t>(n);
            }
            if (done < kImage) {
                close(sv[0]);
                close(sv[1]);
                return OpenResult::failed(EIO);
            }
            shutdown(sv[0], SHUT_WR);
            fcntl(sv[0], F_SETFL, O_NONBLOCK);
            m_offsets[sv[0]] = 0;
            return OpenResult::opened(BOARD_KIND_FILE, sv[1], sv[0], part.mtd);
        }

        // What the program wrote to its block nodes and the board has not
        // read yet: it reached the flash before the request being answered.
        void collectWrites()
        {
            for (Node* node : m_board.nodesOf(this)) {
                if (node->boardFd < 0 || !m_offsets.count(node->boardFd))
                    continue;
                char buf[16384];
                ssize_t n;
                while ((n = recv(node->boardFd, buf, sizeof buf, MSG_DONTWAIT)) > 0)
                    written(*node, buf, static_cast<size_t>(n));
            }
        }

        // Bytes reaching the flash at offset of part, until the power goes.
        void writeFlash(Partition& part, size_t offset, const uint8_t* data, size_t size)
        {
            if (!m_powered)
                return;
            size_t allowed = size;
            if (m_budget >= 0 && static_cast<long long>(allowed) > m_budget)
                allowed = static_cast<size_t>(m_budget);
            const size_t inPart = offset < kImage ? std::min(allowed, kImage - offset) : 0;
            if (inPart) {
                std::memcpy(&part.image[offset], data, inPart);
                if (pwrite(part.fileFd, data, inPart, static_cast<off_t>(offset))
                    != static_cast<ssize_t>(inPart))
                    m_board.note("flash: cannot update " + part.file);
            }
            part.bytesWritten += inPart;
            m_written += allowed;
            if (m_budget >= 0) {
                m_budget -= static_cast<long long>(allowed);
                if (m_budget == 0) {
                    m_powered = false;
                    m_board.note("flash: the power is lost after " + std::to_string(m_written)
                        + " bytes written to the environment");
                }
            }
        }

        // The copy the boot loader takes: a valid one, the flagged one of two
        // valid copies, copy 1 when both or neither are flagged; -1 for none.
        int chosenCopy() const
        {
            if (m_parts.empty())
                return -1;
            const bool valid1 = crcValid(m_parts[0].image, m_single);
            if (m_single)
                return valid1 ? 0 : -1;
            const bool valid2 = crcValid(m_parts[1].image, m_single);
            if (valid1 && valid2)
                return m_parts[1].image[kFlagAt] == 1 && m_parts[0].image[kFlagAt] != 1 ? 1 : 0;
            return valid1 ? 0 : valid2 ? 1 : -1;
        }

        // The value and its length in the record; a missing name is ENOENT.
        IoctlResult get(const std::string& name, const std::vector<uint8_t>& in)
        {
            ++m_gets;
            const int copy = chosenCopy();
            if (copy < 0)
                return IoctlResult::fail(EIO);
            for (const auto& v : imageEnvironment(m_parts[static_cast<size_t>(copy)].image, m_single)) {
                if (v.name != name)
                    continue;
                std::vector<uint8_t> out(in.begin(), in.begin() + kRecordSize);
                std::memset(&out[kValueAt], 0, kValueField);
                // A value longer than the record's field (from an image file) is cut.
                const size_t n = std::min(v.value.size(), kValueField - 1);
                std::memcpy(&out[kValueAt], v.value.data(), n);
                put32(out, kLengthAt, static_cast<uint32_t>(n));
                return { 0, 0, out };
            }
            return IoctlResult::fail(ENOENT);
        }

        // Stores (the variable moves to the end of the list, as the boot
        // loader's own editor does) or deletes (a missing name is no error),
        // then writes the environment back: the new contents to the other
        // copy, flagged active, before the old copy is flagged obsolete.
        IoctlResult set(const std::string& name, const std::vector<uint8_t>& in)
        {
            ++m_sets;
            const bool store = get32(&in[kPointerAt]) != 0;
            std::string value;
            if (store && !fieldText(in, kValueAt, kValueField, value))
                return IoctlResult::fail(EINVAL);
            const int copy = chosenCopy();
            if (copy < 0)
                return IoctlResult::fail(EIO);
            Partition& old = m_parts[static_cast<size_t>(copy)];
            std::vector<Variable> env = imageEnvironment(old.image, m_single);
            env.erase(
                std::remove_if(env.begin(), env.end(), [&](const Variable& v) { return v.name == name; }),
                env.end());
            if (store)
                env.push_back({ name, value });
            if (envBytes(env) > kImage - dataAt(m_single))
                return IoctlResult::fail(ENOSPC);
            if (m_single) {
                const auto image = buildImage(env, true, 0);
                writeFlash(old, 0, image.data(), kImage);
            } else {
                Partition& other = m_parts[copy == 0 ? 1 : 0];
                const auto image = buildImage(env, false, 1);
                writeFlash(other, 0, image.data(), kImage);
                std::vector<uint8_t> retired = old.image;
                retired[kFlagAt] = 0;
                writeFlash(old, 0, retired.data(), kImage);
            }
            if (!m_powered)
                return IoctlResult::fail(EIO);
            return { 0, 0, {} };
        }

        bool m_nand { true };
        uint32_t m_chip { kDefaultChip };
        bool m_single { false };
        std::vector<Partition> m_parts;
        std::map<int, size_t> m_offsets; // a block node's board end -> where its next write lands
        bool m_powered { true };
        long long m_budget { -1 }; // bytes until the power goes; -1: never
        size_t m_written { 0 };
        int m_gets { 0 };
        int m_sets { 0 };
    };

    bool parseBootenv(const std::string& key, const std::string& value, Scenario& s, std::string& error)
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

    bool parseFlash(const std::string& key, const std::string& value, const std::string& base, Scenario& s,
        std::string& error)
    {
        std::string stored = value;
        int n = 0;
        if (key == "chip") {
            uint32_t chip;
            if (!parseChip(value, chip)) {
                error = "chip is a 32-bit number (0x... for hexadecimal)";
                return false;
            }
        } else if (key == "image1" || key == "image2") {
            stored = value.empty() || value[0] == '/' ? value : base + "/" + value;
            std::vector<uint8_t> image;
            if (!readImageFile(stored, image, error))
                return false;
        } else if (key == "flag1" || key == "flag2") {
            if (!scenarioInt(value, 0, 255, n)) {
                error = key + " is a number from 0 to 255";
                return false;
            }
        } else if (key == "corrupt") {
            if (value != "none" && value != "copy1" && value != "copy2" && value != "both") {
                error = "corrupt is none, copy1, copy2 or both";
                return false;
            }
        } else if (key == "power_loss") {
            if (value != "never" && !scenarioInt(value, 0, 1 << 30, n)) {
                error = "power_loss is a number of bytes or never";
                return false;
            }
        } else {
            error = "unknown key \"" + key + "\" (chip, image1, image2, flag1, flag2, corrupt, power_loss)";
            return false;
        }
        s.settings["flash"][key] = stored;
        return true;
    }

    bool parseSection(const std::string& section, const std::string& key, const std::string& value,
        const std::string& base, Scenario& s, std::string& error)
    {
        return section == "bootenv" ? parseBootenv(key, value, s, error)
                                    : parseFlash(key, value, base, s, error);
    }

}

uint32_t chipIdentifier(const Scenario& s)
{
    uint32_t chip = kDefaultChip;
    const std::string text = flashSetting(s, "chip");
    if (!text.empty())
        parseChip(text, chip);
    return chip;
}

std::string mtdPartitionLines(const Scenario& s)
{
    std::string text;
    const auto parts = mtdTable(s);
    for (size_t i = 0; i < parts.size(); ++i) {
        char line[96];
        std::snprintf(line, sizeof line, "%4d%9zu%11u mtdblock%zu\n", 31, i, parts[i].size / 1024, i);
        text += line;
    }
    return text;
}

extern const ModelType kFlashModel = { "flash", { "bootenv", "flash" }, parseSection, nullptr,
    [](BoardContext& board) -> std::unique_ptr<DeviceModel> { return std::make_unique<FlashModel>(board); } };

}
