// Loading the environment from its flash partition(s), choosing the copy, and
// writing it back so that a power loss at any moment leaves one valid copy.

#include "platform/bootenv.h"
#include "platform/syspara.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

int mtd_fd1 = 0;
int mtd_fd2 = 0;
int mtd_sector = 0;

namespace {

// Chips whose boot loader keeps one copy, told by the identifier's high half.
constexpr uint32_t SINGLE_COPY_CHIP_A = 0x33570000u;
constexpr uint32_t SINGLE_COPY_CHIP_B = 0x34000000u;
constexpr int FLAG_OFFSET = 4;
constexpr int SECTOR_SINGLE = 3;
constexpr int SECTOR_COPY1 = 1;
constexpr int SECTOR_COPY2 = 2;
constexpr int SECTOR_ACTIVE = 16;

struct FreeDeleter {
    void operator()(char* p) const { std::free(p); }
};
using Image = std::unique_ptr<char, FreeDeleter>;

int reOpen(int& fd, const char* path)
{
    if (fd != 0)
        close(fd);
    fd = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (fd < 0) {
        fd = 0;
        return -1;
    }
    return 0;
}

void closeCopies()
{
    if (mtd_fd1 != 0)
        close(mtd_fd1);
    if (mtd_fd2 != 0)
        close(mtd_fd2);
    mtd_fd1 = 0;
    mtd_fd2 = 0;
}

// Reads up to a whole image; a short copy leaves the rest of image as it was
// (the CRC check then tells).
void readImage(int fd, char* image)
{
    size_t done = 0;
    while (done < ENV_IMAGE_SIZE) {
        const ssize_t n = read(fd, image + done, ENV_IMAGE_SIZE - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
}

// Writes the whole image; stops at the first refused write, as the device
// does when its power goes.
void writeImage(int fd, const char* image, EnvWriteFn writer)
{
    size_t done = 0;
    while (done < ENV_IMAGE_SIZE) {
        const ssize_t n = writer(fd, image + done, ENV_IMAGE_SIZE - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
}

bool flagged(const char* image)
{
    return image[FLAG_OFFSET] == 1;
}

char* chosen(Image& image, int sector)
{
    mtd_sector = sector;
    closeCopies();
    return image.release();
}

char* refused()
{
    closeCopies();
    return nullptr;
}

ssize_t plainWrite(int fd, const void* buf, size_t n)
{
    return write(fd, buf, n);
}

// Overwrites the copy at path with image (re-opened on fd).
int writeCopy(int& fd, const char* path, const char* image, EnvWriteFn writer)
{
    if (reOpen(fd, path) != 0)
        return -1;
    writeImage(fd, image, writer);
    return 0;
}

// The active copy is rewritten into the other one first; only then is the
// old one marked obsolete (its own contents read back with flag 0), so a
// power loss before that leaves the old copy active and valid.
int writeOtherThenRetire(
    char* image, int& oldFd, const char* oldPath, int& newFd, const char* newPath, EnvWriteFn writer)
{
    image[FLAG_OFFSET] = 1;
    if (writeCopy(newFd, newPath, image, writer) != 0)
        return 1;
    if (reOpen(oldFd, oldPath) != 0)
        return 1;
    Image old(static_cast<char*>(std::calloc(1, ENV_IMAGE_SIZE)));
    if (!old)
        return 1;
    readImage(oldFd, old.get());
    old.get()[FLAG_OFFSET] = 0;
    if (writeCopy(oldFd, oldPath, old.get(), writer) != 0)
        return 1;
    return 0;
}

} // namespace

int re_open1(const char* path)
{
    return reOpen(mtd_fd1, path);
}

int re_open2(const char* path)
{
    return reOpen(mtd_fd2, path);
}

char* envLoadCopies(char* path1, char* path2, int found, SocInfoFn socinfo)
{
    mtd_sector = 0;
    Image image(static_cast<char*>(std::calloc(1, ENV_IMAGE_SIZE)));
    if (!image)
        return nullptr;
    if (re_open1(path1) != 0)
        return nullptr;
    int id = 0;
    int second = 0;
    if (socinfo)
        socinfo(&id, &second);
    readImage(mtd_fd1, image.get());

    const uint32_t chip = static_cast<uint32_t>(id) & 0xFFFF0000u;
    if ((chip == SINGLE_COPY_CHIP_A || chip == SINGLE_COPY_CHIP_B) && found == 1) {
        mtd_sector = SECTOR_SINGLE;
        if (compare_crc32(image.get()) == 0)
            return chosen(image, SECTOR_SINGLE);
        printf("mtd dev crc32 is not correct\n");
        return refused();
    }

    if (compare_crc32(image.get()) == 0) {
        if (flagged(image.get()))
            return chosen(image, SECTOR_COPY1 | SECTOR_ACTIVE);
        // A valid copy 1 that is not flagged active yields to any valid copy 2,
        // whatever copy 2's flag says: copy 2 may be the newer one.
        if (re_open2(path2) != 0)
            return chosen(image, SECTOR_COPY1);
        std::memset(image.get(), 0, 5);
        readImage(mtd_fd2, image.get());
        if (compare_crc32(image.get()) == 0)
            return chosen(image, flagged(image.get()) ? SECTOR_COPY2 | SECTOR_ACTIVE : SECTOR_COPY2);
        printf("mtd dev2 crc32 is not correct\n");
        // Copy 1 is taken back as it was read a moment ago, not checked again.
        if (re_open1(path1) != 0)
            return refused();
        readImage(mtd_fd1, image.get());
        return chosen(image, SECTOR_COPY1);
    }

    printf("mtd dev1 crc32 is not correct\n");
    if (re_open2(path2) != 0)
        return refused();
    readImage(mtd_fd2, image.get());
    if (compare_crc32(image.get()) == 0)
        return chosen(image, flagged(image.get()) ? SECTOR_COPY2 | SECTOR_ACTIVE : SECTOR_COPY2);
    printf("mtd dev2 crc32 is not correct\n");
    return refused();
}

char* sf_env_init(char* path1, char* path2)
{
    if (!path1 || !path2)
        return nullptr;
    FILE* mtd = std::fopen(ENV_PROC_MTD, "re");
    if (!mtd)
        return nullptr;
    const int found = envScanMtd(mtd, path1, path2);
    std::fclose(mtd);
    if (found < 1 || found > 2)
        return nullptr;
    return envLoadCopies(path1, path2, found, zor_getsocinfo);
}

int envWriteBack(char* image, char* path1, char* path2, EnvWriteFn writer)
{
    if (!image || !writer)
        return 1;
    int result = 1;
    if ((mtd_sector & 3) == SECTOR_SINGLE) {
        result = writeCopy(mtd_fd1, path1, image, writer) == 0 ? 0 : 1;
    } else if (mtd_sector == SECTOR_COPY1 || mtd_sector == SECTOR_COPY2) {
        // The copy in use was not flagged (or copy 2 was missing): it is
        // rewritten in place and becomes the active one.
        image[FLAG_OFFSET] = 1;
        if (mtd_sector == SECTOR_COPY1)
            result = writeCopy(mtd_fd1, path1, image, writer) == 0 ? 0 : 1;
        else
            result = writeCopy(mtd_fd2, path2, image, writer) == 0 ? 0 : 1;
    } else if (mtd_sector == (SECTOR_COPY1 | SECTOR_ACTIVE)) {
        result = writeOtherThenRetire(image, mtd_fd1, path1, mtd_fd2, path2, writer);
    } else if (mtd_sector == (SECTOR_COPY2 | SECTOR_ACTIVE)) {
        result = writeOtherThenRetire(image, mtd_fd2, path2, mtd_fd1, path1, writer);
    }
    closeCopies();
    return result;
}

int sf_env_write_back(char* image, char* path1, char* path2)
{
    return envWriteBack(image, path1, path2, plainWrite);
}
