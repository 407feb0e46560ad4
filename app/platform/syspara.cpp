// The flash driver's variable requests and the display's chip identifier.

#include "platform/syspara.h"

#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

static_assert(SYSPARA_GET_REQUEST == _IOR('M', 0x14, SysparaRecord), "get request number");
static_assert(SYSPARA_SET_REQUEST == _IOR('M', 0x15, SysparaRecord), "set request number");
static_assert(SOCINFO_REQUEST == _IOR('i', 5, int32_t), "chip identifier request number");

namespace {

// Closes the descriptor it holds on every way out of the caller.
class DeviceFd {
public:
    explicit DeviceFd(int fd)
        : m_fd(fd)
    {
    }
    ~DeviceFd()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    DeviceFd(const DeviceFd&) = delete;
    DeviceFd& operator=(const DeviceFd&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

bool fitsField(const char* text, size_t field)
{
    return strnlen(text, field) < field;
}

} // namespace

int deviceRequest(int fd, unsigned long request, void* arg)
{
    return ioctl(fd, request, arg);
}

int sysparaGet(int fd, const char* name, char* value, int* len, DeviceRequestFn request)
{
    if (!name || !value || !len || !request || !fitsField(name, sizeof(SysparaRecord::name)))
        return -1;
    SysparaRecord record {};
    std::strcpy(record.name, name);
    record.length = *len;
    if (request(fd, SYSPARA_GET_REQUEST, &record) < 0) {
        value[0] = 0;
        *len = 0;
        return -1;
    }
    // Deliberately the capacity, not the returned length, is copied: the
    // callers rely on the zero padding of the driver's value field. Past the
    // record's value field comes its length field, then zeros, so a capacity
    // above 200 never reads beyond the record.
    const size_t capacity = *len > 0 ? static_cast<size_t>(*len) : 0;
    const size_t inRecord = sizeof(SysparaRecord) - offsetof(SysparaRecord, value);
    const size_t copied = capacity < inRecord ? capacity : inRecord;
    std::memcpy(value, reinterpret_cast<const char*>(&record) + offsetof(SysparaRecord, value), copied);
    if (capacity > copied)
        std::memset(value + copied, 0, capacity - copied);
    *len = record.length;
    return 0;
}

int sysparaSet(int fd, const char* name, const char* value, DeviceRequestFn request)
{
    if (!name || !request || !fitsField(name, sizeof(SysparaRecord::name)))
        return -1;
    if (value && !fitsField(value, sizeof(SysparaRecord::value)))
        return -1;
    SysparaRecord record {};
    std::strcpy(record.name, name);
    if (value) {
        // On a 64-bit build the address does not fit the field; the driver
        // only needs to see that it is not 0.
        const uint32_t address = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(value));
        record.valuePtr = address ? address : 1;
        std::strcpy(record.value, value);
    }
    return request(fd, SYSPARA_SET_REQUEST, &record) < 0 ? -1 : 0;
}

void socinfoRead(int fd, int* id, DeviceRequestFn request)
{
    if (id && request)
        request(fd, SOCINFO_REQUEST, id);
}

int zor_getsyspara(const char* name, char* value, int* len)
{
    if (!name || !value || !len || !fitsField(name, sizeof(SysparaRecord::name)))
        return -1;
    DeviceFd fd(open(SYSPARA_DEVICE, O_RDWR | O_CLOEXEC));
    if (fd.get() < 0)
        return -1;
    return sysparaGet(fd.get(), name, value, len);
}

int zor_setsyspara(const char* name, const char* value)
{
    if (!name)
        return -1;
    DeviceFd fd(open(SYSPARA_DEVICE, O_RDWR | O_CLOEXEC));
    if (fd.get() < 0)
        return -1;
    return sysparaSet(fd.get(), name, value);
}

int zor_getsocinfo(int* id, int* second)
{
    if (!id || !second)
        return -1;
    *id = 0;
    *second = 0;
    int raw = open(SOCINFO_DEVICE, O_RDONLY | O_CLOEXEC);
    if (raw < 0)
        raw = open(SOCINFO_FALLBACK_DEVICE, O_RDONLY | O_CLOEXEC);
    DeviceFd fd(raw);
    if (fd.get() < 0)
        return -1;
    socinfoRead(fd.get(), id);
    return 0;
}
