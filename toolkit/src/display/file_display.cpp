// The headless display: an RGB565 little-endian file mapped shared, the way a
// virtual frame buffer exposes its memory. Readers see each flush at once.

#include "display/file_display.h"
#include "display/unique_fd.h"

#include <cerrno>
#include <cstring>
#include <endian.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumi {

namespace {

    constexpr int kMaxSide = 8192;

    class FileDisplay final : public DisplayBackend {
    public:
        ~FileDisplay() override
        {
            if (m_map)
                munmap(m_map, m_mapSize);
        }

        int width() const override { return m_width; }
        int height() const override { return m_height; }

        bool open(const std::string& path, int width, int height, std::string& error)
        {
            if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
                error = "file: size out of range";
                return false;
            }
            // Readable by others on purpose: tools and tests watch the screen live.
            // The file is emptied below, so only a regular file of ours is taken:
            // never through a symbolic link (a link planted at the path would have
            // us empty its target), never a FIFO, device or directory (opened
            // without blocking, then refused), never a file of another user or
            // one with other names (a hard link to someone's file).
            UniqueFd fd(::open(
                path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0644));
            if (!fd.valid()) {
                error = openError(path, errno);
                return false;
            }
            struct stat st { };
            if (fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
                error = "file: " + path + " is not a regular file; not used";
                return false;
            }
            if (st.st_uid != geteuid()) {
                error = "file: " + path + " belongs to another user; not overwritten";
                return false;
            }
            if (st.st_nlink != 1) {
                error = "file: " + path + " has other hard links; not overwritten";
                return false;
            }
            // Emptied first so that a screen of an earlier run never shows through.
            size_t size = static_cast<size_t>(width) * static_cast<size_t>(height) * 2;
            if (ftruncate(fd.get(), 0) != 0 || ftruncate(fd.get(), static_cast<off_t>(size)) != 0) {
                int err = errno;
                error = "file: cannot size " + path + ": " + std::strerror(err);
                return false;
            }
            void* map = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
            if (map == MAP_FAILED) {
                int err = errno;
                error = "file: cannot map " + path + ": " + std::strerror(err);
                return false;
            }
            // The mapping keeps the file's pages; the descriptor is not needed any more.
            m_map = static_cast<uint8_t*>(map);
            m_mapSize = size;
            m_width = width;
            m_height = height;
            return true;
        }

        void flush(const uint16_t* frame, int stride, const Rect* rects, int count) override
        {
            if (!m_map)
                return;
            forEachFlushRect(frame, rects, count, m_width, m_height, [&](const Rect& r) {
                for (int y = r.top; y < r.bottom; ++y)
                    copyRow(framePixel(frame, stride, r.left, y),
                        m_map + (static_cast<size_t>(y) * m_width + r.left) * 2, r.width());
            });
        }

    private:
        static std::string openError(const std::string& path, int err)
        {
            struct stat st { };
            if (err == ELOOP && lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode))
                return "file: " + path + " is a symbolic link; not followed";
            if (err == EISDIR)
                return "file: " + path + " is a directory, not a regular file; not used";
            return "file: cannot create " + path + ": " + std::strerror(err);
        }

        static void copyRow(const uint16_t* src, uint8_t* dst, int count)
        {
#if __BYTE_ORDER == __LITTLE_ENDIAN
            std::memcpy(dst, src, static_cast<size_t>(count) * 2);
#else
            for (int i = 0; i < count; ++i) {
                dst[2 * i] = static_cast<uint8_t>(src[i] & 0xFF);
                dst[2 * i + 1] = static_cast<uint8_t>(src[i] >> 8);
            }
#endif
        }

        // Device.
        uint8_t* m_map { nullptr };
        size_t m_mapSize { 0 };
        // Configuration.
        int m_width { 0 };
        int m_height { 0 };
    };

}

std::unique_ptr<DisplayBackend> createFileDisplay(
    const std::string& path, int width, int height, std::string& error)
{
    auto display = std::make_unique<FileDisplay>();
    if (!display->open(path, width, height, error))
        return nullptr;
    return display;
}

}
