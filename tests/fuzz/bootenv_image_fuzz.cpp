// Arbitrary bytes as a boot environment image, in both layouts, through the
// CRC check, the entry walks, reads, edits and the copy choice. Besides
// memory safety (the image is an exact-size heap buffer, so any access beyond
// it is caught), checks what callers rely on: a value set is read back, a
// deleted name is gone, the list stays ended, and a refreshed CRC checks.

#include "platform/bootenv.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

std::vector<char> wholeImage(const uint8_t* data, size_t size)
{
    std::vector<char> image(ENV_IMAGE_SIZE, 0);
    std::memcpy(image.data(), data, size < image.size() ? size : image.size());
    return image;
}

// Walks the list as every reader does and checks the walk stays inside.
void walk(const char* image)
{
    int pos = envDataOffset();
    int entries = 0;
    while (pos != 0 && image[pos] != 0) {
        require(pos < ENV_IMAGE_SIZE);
        env_cmp_name(pos, image, "bootdelay");
        require(std::strlen(test_name) < sizeof test_name);
        const int para = env_find_para_pos(pos, image);
        require(para == 0 || (para > pos && para <= ENV_IMAGE_SIZE));
        const int next = env_find_next_pos(pos, image);
        require(next == 0 || (next > pos && next < ENV_IMAGE_SIZE));
        pos = next;
        require(++entries < ENV_IMAGE_SIZE);
    }
}

// The last entry of the list, or "" for an empty list.
std::string lastEntry(const char* image)
{
    std::string last;
    int pos = envDataOffset();
    while (pos != 0 && image[pos] != 0) {
        last = std::string(image + pos, strnlen(image + pos, static_cast<size_t>(ENV_IMAGE_SIZE - pos)));
        pos = env_find_next_pos(pos, image);
    }
    return last;
}

// How many entries the readers' walk finds under name.
int countNamed(const char* image, const std::string& name)
{
    int count = 0;
    int pos = envDataOffset();
    for (int steps = 0; steps < ENV_IMAGE_SIZE; ++steps) {
        if (env_cmp_name(pos, image, name.c_str()) == 0)
            ++count;
        pos = env_find_next_pos(pos, image);
        if (pos == 0 || image[pos] == 0)
            break;
    }
    return count;
}

void editAndCheck(char* image, const std::string& name, const std::string& value)
{
    const int before = countNamed(image, name);
    const int set = env_set_in_buffer(name.c_str(), value.c_str(), image);
    require(set == 0 || set == 1 || set == 2);
    if (set == 0) {
        // A set variable is the list's last entry and the list stays ended.
        require(lastEntry(image) == name + "=" + value);
        require(env_data_length(image) >= 0);
        // A new name (no entry of it in the input, which could shadow it)
        // reads back as set, and is gone after one delete.
        if (before == 0 && name.find('=') == std::string::npos) {
            std::vector<char> got(value.size() + 1);
            int len = static_cast<int>(got.size());
            require(env_get_from_buffer(name.c_str(), got.data(), image, &len) == 0);
            require(len == static_cast<int>(value.size()));
            require(std::memcmp(got.data(), value.data(), value.size()) == 0);
            require(env_set_in_buffer(name.c_str(), nullptr, image) == 0);
            len = static_cast<int>(got.size());
            require(env_get_from_buffer(name.c_str(), got.data(), image, &len) == -1);
        }
    }
    sf_env_update_crc(image);
    require(compare_crc32(image) == 0);
}

void throughLayout(
    int sector, const uint8_t* data, size_t size, const std::string& name, const std::string& value)
{
    mtd_sector = sector;
    std::vector<char> copy = wholeImage(data, size);
    std::unique_ptr<char[]> image(new char[ENV_IMAGE_SIZE]);
    std::memcpy(image.get(), copy.data(), ENV_IMAGE_SIZE);
    const int check = compare_crc32(image.get());
    require(check == 0 || check == 1);
    walk(image.get());
    const int length = env_data_length(image.get());
    require(length >= -1 && length < ENV_IMAGE_SIZE);
    std::vector<char> value1(64);
    int len = static_cast<int>(value1.size());
    const int got = env_get_from_buffer(name.c_str(), value1.data(), image.get(), &len);
    require(got == 0 || got == -1);
    require(len >= 0 && len < ENV_IMAGE_SIZE);
    editAndCheck(image.get(), name, value);
    walk(image.get());
}

// The copy choice over two memory files holding the halves of the input.
void throughLoad(const uint8_t* data, size_t size, int chip)
{
    const size_t half = size / 2;
    char path1[64];
    char path2[64];
    const int fd1 = memfd_create("copy1", 0);
    const int fd2 = memfd_create("copy2", 0);
    if (fd1 < 0 || fd2 < 0) {
        if (fd1 >= 0)
            close(fd1);
        if (fd2 >= 0)
            close(fd2);
        return;
    }
    require(write(fd1, data, half) == static_cast<ssize_t>(half));
    require(write(fd2, data + half, size - half) == static_cast<ssize_t>(size - half));
    snprintf(path1, sizeof path1, "/proc/self/fd/%d", fd1);
    snprintf(path2, sizeof path2, "/proc/self/fd/%d", fd2);
    static int s_chip;
    s_chip = chip;
    char* image = envLoadCopies(path1, path2, 2 - (chip & 1), [](int* id, int* second) {
        *id = s_chip;
        *second = 0;
        return 0;
    });
    require(mtd_fd1 == 0 && mtd_fd2 == 0);
    if (image) {
        require(compare_crc32(image) == 0 || mtd_sector == 1);
        std::free(image);
    }
    close(fd1);
    close(fd2);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 || size > 2 * ENV_IMAGE_SIZE)
        return 0;
    // The store's own lines ("mtd dev1 crc32 is not correct") are not wanted here.
    static FILE* s_quiet = freopen("/dev/null", "w", stdout);
    require(s_quiet != nullptr);
    // The first two bytes choose a name and a value out of the input's tail.
    const size_t nameLength = data[0] % 16;
    const size_t valueLength = data[1];
    data += 2;
    size -= 2;
    std::string name(reinterpret_cast<const char*>(data + size - (nameLength < size ? nameLength : size)),
        nameLength < size ? nameLength : size);
    name = name.c_str();
    std::string value(valueLength, 'v');

    // One layout an input, and the copy choice for one input in four: a
    // CRC over a whole image is the costly step of each.
    const uint8_t mode = static_cast<uint8_t>(nameLength ^ valueLength);
    throughLayout(mode & 1 ? 3 : 17, data, size, name, value);
    if ((mode & 6) == 0)
        throughLoad(data, size, mode & 8 ? 0x33570000 : 0);
    return 0;
}
