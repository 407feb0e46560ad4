// Bitmap: RGB565 pixels owned by the object, with a pixman image over them so
// that DCs can fill, copy and composite onto it.

#include <lumi/gdi.h>

#include <cstdlib>

namespace {

// Larger pictures are refused: 8192 x 8192 x 2 bytes is already 128 MiB.
constexpr int kMaxSide = 8192;

}

Bitmap::~Bitmap()
{
    destroy();
}

int Bitmap::create(int width, int height)
{
    destroy();
    if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide)
        return -1;
    m_width = width;
    m_height = height;
    // calloc: a new bitmap is black, and large ones cost nothing until drawn on.
    size_t bytes = static_cast<size_t>(stride()) * static_cast<size_t>(height);
    m_pixels = static_cast<uint16_t*>(std::calloc(bytes, 1));
    if (!m_pixels) {
        destroy();
        return -1;
    }
    m_image = pixman_image_create_bits(
        PIXMAN_r5g6b5, width, height, reinterpret_cast<uint32_t*>(m_pixels), stride());
    if (!m_image) {
        destroy();
        return -1;
    }
    return 0;
}

void Bitmap::destroy()
{
    if (m_image) {
        pixman_image_unref(m_image);
        m_image = nullptr;
    }
    std::free(m_pixels);
    m_pixels = nullptr;
    m_width = 0;
    m_height = 0;
}

uint16_t Bitmap::pixel(int x, int y) const
{
    if (!m_pixels || x < 0 || y < 0 || x >= m_width || y >= m_height)
        return 0;
    const uint8_t* row = reinterpret_cast<const uint8_t*>(m_pixels) + static_cast<size_t>(y) * stride();
    return reinterpret_cast<const uint16_t*>(row)[x];
}
