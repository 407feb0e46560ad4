// Reading and editing name=value entries in an environment image in memory.
// Every walk is bounded by the image's size, whatever bytes it holds.

#include "platform/bootenv.h"

#include <cctype>
#include <cstring>

char test_name[50];

namespace {

// The last index an entry walk may look at for an entry's end.
constexpr int LAST_SCAN_INDEX = ENV_IMAGE_SIZE - 1;

bool inImage(int pos)
{
    return pos >= 0 && pos < ENV_IMAGE_SIZE;
}

// Where name's entry starts, or -1: entries are compared from the data start
// until one matches or the next one is the empty string that ends the list.
int findEntry(const char* name, const char* image)
{
    int pos = envDataOffset();
    while (env_cmp_name(pos, image, name) != 0) {
        pos = env_find_next_pos(pos, image);
        if (pos == 0 || image[pos] == 0)
            return -1;
    }
    return pos;
}

} // namespace

int env_find_next_pos(int pos, const char* image)
{
    if (pos < 0)
        return 0;
    for (int i = pos; i < LAST_SCAN_INDEX; ++i) {
        if (image[i] == 0)
            return i + 1;
    }
    return 0;
}

int env_find_para_pos(int pos, const char* image)
{
    if (!inImage(pos))
        return 0;
    for (int i = pos; i < ENV_IMAGE_SIZE && image[i] != 0; ++i) {
        if (image[i] == '=')
            return i + 1;
    }
    return 0;
}

int env_cmp_name(int pos, const char* image, const char* name)
{
    test_name[0] = 0;
    if (!inImage(pos) || !name)
        return -1;
    int end = pos;
    while (end < ENV_IMAGE_SIZE && image[end] != 0 && image[end] != '=')
        ++end;
    const size_t length = static_cast<size_t>(end - pos);
    // The scratch keeps what fits; the comparison uses the whole name in the
    // image, so a long entry name never matches a shorter one by accident.
    const size_t kept = length < sizeof test_name - 1 ? length : sizeof test_name - 1;
    std::memcpy(test_name, image + pos, kept);
    test_name[kept] = 0;
    if (std::strlen(name) != length || std::memcmp(image + pos, name, length) != 0)
        return -1;
    return 0;
}

int env_data_length(const char* image)
{
    const int start = envDataOffset();
    // An empty list is its own end at the data start.
    if (image[start] == 0)
        return 0;
    for (int i = start; i + 1 < ENV_IMAGE_SIZE; ++i) {
        if (image[i] == 0 && image[i + 1] == 0)
            return i + 1 - start;
    }
    return -1;
}

int env_delete_entry(int pos, char* image)
{
    if (pos < envDataOffset() || !inImage(pos))
        return -1;
    const int next = env_find_next_pos(pos, image);
    if (next == 0)
        return -1;
    // Everything after the entry moves down, the list's end with it; the
    // bytes freed at the end of the image become padding.
    std::memmove(image + pos, image + next, static_cast<size_t>(ENV_IMAGE_SIZE - next));
    std::memset(image + ENV_IMAGE_SIZE - (next - pos), 0, static_cast<size_t>(next - pos));
    return 0;
}

int env_append_entry(const char* name, const char* value, char* image)
{
    if (!name || !value)
        return -1;
    const int length = env_data_length(image);
    if (length < 0)
        return -1;
    const size_t at = static_cast<size_t>(envDataOffset() + length);
    const size_t nameLength = std::strlen(name);
    const size_t valueLength = std::strlen(value);
    // name, '=', value and the two 0 bytes that end the entry and the list.
    const size_t need = nameLength + 1 + valueLength + 2;
    if (need > ENV_IMAGE_SIZE - at)
        return -1;
    char* p = image + at;
    std::memcpy(p, name, nameLength);
    p[nameLength] = '=';
    std::memcpy(p + nameLength + 1, value, valueLength);
    p[nameLength + 1 + valueLength] = 0;
    p[nameLength + 2 + valueLength] = 0;
    return 0;
}

int env_get_from_buffer(const char* name, char* value, char* image, int* len)
{
    if (!name || !value || !image || !len)
        return -1;
    const int pos = findEntry(name, image);
    if (pos < 0)
        return -1;
    const int from = env_find_para_pos(pos, image);
    if (from == 0)
        return -1;
    int length = 0;
    while (from + length < ENV_IMAGE_SIZE && image[from + length] != 0)
        ++length;
    // The copy is made before the capacity is looked at, deliberately; only
    // the part that fits the caller's buffer is written.
    const int copied = length < *len ? length : (*len > 0 ? *len : 0);
    std::memcpy(value, image + from, static_cast<size_t>(copied));
    const bool fitted = *len >= length;
    *len = length;
    return fitted ? 0 : -1;
}

int env_set_in_buffer(const char* name, const char* value, char* image)
{
    if (!name || !image)
        return -1;
    const int pos = findEntry(name, image);
    if (pos < 0) {
        if (!value)
            return -1;
        return env_append_entry(name, value, image) == 0 ? 0 : 2;
    }
    const bool deleted = env_delete_entry(pos, image) == 0;
    if (!value)
        return deleted ? 0 : 1;
    const bool appended = env_append_entry(name, value, image) == 0;
    if (!deleted)
        return 1;
    return appended ? 0 : 2;
}

void dump_buf(const char* buf, int len)
{
    if (!buf)
        return;
    for (int line = 0; line < len; line += 16) {
        printf("%04x:", line);
        for (int i = line; i < line + 16; ++i) {
            if (i < len)
                printf(" %02x", static_cast<unsigned char>(buf[i]));
            else
                printf("   ");
        }
        printf("  ");
        for (int i = line; i < line + 16 && i < len; ++i) {
            const unsigned char c = static_cast<unsigned char>(buf[i]);
            putchar(std::isprint(c) ? c : '.');
        }
        putchar('\n');
    }
}
