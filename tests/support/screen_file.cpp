#include "screen_file.h"

#include <fcntl.h>
#include <unistd.h>

namespace lumitest {

ScreenFile::ScreenFile(const std::string& file, int width, int height)
    : m_width(width)
    , m_height(height)
{
    m_pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 0);
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    const ssize_t want = static_cast<ssize_t>(m_pixels.size() * 2);
    ssize_t got = 0;
    while (got < want) {
        const ssize_t n = ::pread(fd, reinterpret_cast<char*>(m_pixels.data()) + got, want - got, got);
        if (n <= 0)
            break;
        got += n;
    }
    ::close(fd);
    m_valid = got == want;
}

uint16_t ScreenFile::at(int x, int y) const
{
    if (x < 0 || y < 0 || x >= m_width || y >= m_height)
        return 0;
    return m_pixels[static_cast<size_t>(y) * static_cast<size_t>(m_width) + static_cast<size_t>(x)];
}

int ScreenFile::count(const Rect& rect, uint16_t colour) const
{
    return count(rect, [colour](uint16_t p) { return p == colour; });
}

int ScreenFile::count(const Rect& rect, const std::function<bool(uint16_t)>& pred) const
{
    int n = 0;
    for (int y = rect.top; y < rect.bottom; ++y)
        for (int x = rect.left; x < rect.right; ++x)
            n += pred(at(x, y)) ? 1 : 0;
    return n;
}

bool ScreenFile::all(const Rect& rect, uint16_t colour) const
{
    return count(rect, colour) == rect.width() * rect.height();
}

Rect ScreenFile::inkBounds(const Rect& rect, uint16_t background) const
{
    Rect ink;
    for (int y = rect.top; y < rect.bottom; ++y)
        for (int x = rect.left; x < rect.right; ++x)
            if (at(x, y) != background)
                ink |= Rect(x, y, x + 1, y + 1);
    return ink;
}

bool ScreenFile::sameOutside(const ScreenFile& other, const Rect& except) const
{
    for (int y = 0; y < m_height; ++y)
        for (int x = 0; x < m_width; ++x)
            if (!except.ptInRect(x, y) && at(x, y) != other.at(x, y))
                return false;
    return true;
}

}
