#pragma once
// The direct path to the boot loader's environment: the flash partition(s)
// labelled "u-boot env" read whole, checked, edited in memory and written
// back. An image is always ENV_IMAGE_SIZE bytes; every function here that
// takes an image reads and writes only within those bytes.
//
// Layouts. Single copy: CRC-32 (little-endian) at 0, data from 4. Redundant
// copies: CRC-32 at 0, the active flag at 4 (1 active, 0 obsolete), data from
// 5. The data is name=value strings, each 0-terminated, ended by an empty
// string; the CRC covers the data area to the end of the image.
//
// The module keeps process-wide state (the copies' descriptors and the layout
// and copy in use), so it is not reentrant: one caller at a time.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <sys/types.h>

constexpr int ENV_IMAGE_SIZE = 0x10000;
// What sf_env_init's path arguments start as: the blank at ENV_PATH_DIGIT is
// replaced by the partition number.
constexpr const char ENV_BLOCK_PATH[] = "/dev/mtdblock ";
constexpr int ENV_PATH_DIGIT = 13;
constexpr const char ENV_PROC_MTD[] = "/proc/mtd";

// Copy 1's and copy 2's descriptors while the module uses them (0: none).
extern int mtd_fd1;
extern int mtd_fd2;
// The layout and copy in use, set by sf_env_init: 3 single layout; 17 copy 1
// valid and active; 18 copy 2 valid and active; 2 copy 2 valid, not flagged
// active; 1 copy 1 taken without a checked CRC (fallback). Low two bits below
// 3 mean the redundant layout. 0 before a copy is chosen (redundant).
extern int mtd_sector;
// The name of the entry env_cmp_name looked at last (at most 49 characters).
extern char test_name[50];

extern const uint32_t sf_crc_table[256];

// Standard CRC-32 (reflected 0xEDB88320, all ones in, complemented out) of n bytes.
uint32_t sf_crc32(const void* data, size_t n);
// The CRC of the data area that starts at data, over the layout's length.
uint32_t sf_env_crc32(const char* data);
// 0 when the stored CRC matches the data, 1 otherwise.
int compare_crc32(const char* image);
// Stores the data's CRC at offset 0.
void sf_env_update_crc(char* image);
// Where the data starts (5 or 4) and how long it is (0xFFFB or 0xFFFC) in
// the layout mtd_sector says.
int envDataOffset();
int envDataSize();

// Finds the environment partition(s) in /proc/mtd and loads the valid copy.
// path1 and path2 are writable copies of ENV_BLOCK_PATH. Returns a heap image
// of ENV_IMAGE_SIZE bytes (release with free) or null.
char* sf_env_init(char* path1, char* path2);

// The first half of sf_env_init over an open /proc/mtd: writes the partition
// digit of the first and second "u-boot env" line into path1 and path2 and
// returns how many were found (0 to 2), or -1 when the header line never comes.
int envScanMtd(FILE* mtd, char* path1, char* path2);
// The second half: loads and chooses the copy from path1 (and path2) after
// `found` partitions were found, asking socinfo for the chip identifier.
using SocInfoFn = int (*)(int* id, int* second);
char* envLoadCopies(char* path1, char* path2, int found, SocInfoFn socinfo);

// Non-zero when a token after the first of line (tokens are separated by
// double quotes and line ends) begins with "u-boot env", in any case.
int GetMatchID(const char* line);
// Compares at most n characters without regard to case, stopping at a 0
// byte; returns the difference of the last two characters compared.
int strnicmp(const char* a, const char* b, int n);

// Index after the 0 that ends the entry at pos; 0 if none before index 65535.
int env_find_next_pos(int pos, const char* image);
// Index after the '=' of the entry at pos; 0 if the entry has none.
int env_find_para_pos(int pos, const char* image);
// 0 when the entry at pos is named exactly name, -1 otherwise; the entry's
// name goes to test_name.
int env_cmp_name(int pos, const char* image, const char* name);
// Bytes from the data start to the empty string that ends the list, or -1
// when the list has no end within the image.
int env_data_length(const char* image);
// Removes the entry at pos, moving the rest of the image down. 0 or -1.
int env_delete_entry(int pos, char* image);
// Writes name=value and the list's end where the list ends now. 0, or -1
// when the list has no end or the entry does not fit.
int env_append_entry(const char* name, const char* value, char* image);

// Copies the value of name to value (no terminator). *len is value's
// capacity: the part that fits is copied, *len becomes the value's length,
// and the result is 0 when it all fitted, -1 when it did not or name is
// missing (or null).
int env_get_from_buffer(const char* name, char* value, char* image, int* len);
// Sets name to value, or deletes it when value is null; a set variable moves
// to the end of the list. 0; -1 for a null name or deleting a missing name;
// 1 when the old entry could not be removed; 2 when the new one does not fit.
int env_set_in_buffer(const char* name, const char* value, char* image);

// Writes image back by the layout's rule (the caller refreshed the CRC):
// new contents go to the inactive copy first, the old copy is marked
// obsolete after. 0 when the last write was issued, 1 when an open failed
// or no copy was chosen.
int sf_env_write_back(char* image, char* path1, char* path2);
// The same with the writer a test chooses (one that stops, as at a power loss).
using EnvWriteFn = ssize_t (*)(int fd, const void* buf, size_t n);
int envWriteBack(char* image, char* path1, char* path2, EnvWriteFn writer);

// Closes copy n's descriptor if one is open and opens path read-write. 0 or -1.
int re_open1(const char* path);
int re_open2(const char* path);

// Prints len bytes of buf as hex and text, 16 a line, for diagnostics.
void dump_buf(const char* buf, int len);
