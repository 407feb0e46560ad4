#pragma once
// Configuration files and system parameters.

#include <cstddef>
#include <map>
#include <string>
#include <type_traits>

// An INI file: "[section]" lines, "key = value" lines, comments starting with
// ';' or '#' (also after a value, when a blank precedes them). Section and
// key names are case-sensitive; blanks around names and values are dropped.
// Keys before the first section belong to the section ""; a repeated key
// keeps its last value.
//
// One bad line does not cost the rest of the file: a line without '=', with
// nothing before its '=', or a section header without its ']' (together with
// the keys under it) is skipped and reported on stderr with the file's path
// and the line's number ("config.ini:12: ignored: no '=' in the line"); the
// first 20 are reported one by one, then how many more there were. Of a file
// larger than 1 MiB the whole lines within the first MiB are used and the
// first line left out is reported.
class IniFile {
public:
    IniFile() = default;
    ~IniFile() = default;
    // Reads the file. 0 when it was read (bad lines skipped), -1 when it is
    // missing or cannot be read. Only a regular file is read: a FIFO, a
    // device or a directory at path is refused at once with a message on
    // stderr, never waited on. A missing file is left to the caller to report.
    int open(const char* path);
    void close();
    bool isOpen() const { return m_open; }
    // The number of lines the last open skipped as unreadable.
    int skippedLines() const { return m_skippedLines; }

    // Copies the value of key into buffer and returns 0, or returns -1 when
    // the key (or the file) is missing, leaving buffer untouched. size is the
    // buffer's size; -1 means no limit set by the caller: with a char array
    // the array's own size bounds the copy, so the call can never overflow.
    // A plain pointer has no size to fall back on: with it a negative size
    // copies nothing and returns -1. The copy is always terminated (a value
    // longer than the buffer is cut).
    //
    // One template serves arrays and pointers alike: a separate char*
    // overload would win overload resolution against an array-reference
    // template (array-to-pointer decay ranks as an exact match and the
    // non-template is preferred), and the array's size would be lost.
    template <typename Buffer>
    int readString(const char* section, const char* key, Buffer&& buffer, int size) const
    {
        using B = std::remove_reference_t<Buffer>;
        if constexpr (std::is_array_v<B>) {
            static_assert(std::is_same_v<std::remove_extent_t<B>, char>, "readString needs a char buffer");
            constexpr size_t n = std::extent_v<B>;
            const int limit = (size < 0 || static_cast<size_t>(size) > n) ? static_cast<int>(n) : size;
            return copyValue(section, key, buffer, limit);
        } else {
            static_assert(std::is_convertible_v<B, char*>, "readString needs a char buffer");
            return size < 0 ? -1 : copyValue(section, key, buffer, size);
        }
    }

private:
    int copyValue(const char* section, const char* key, char* buffer, int size) const;

    bool m_open { false };
    int m_skippedLines { 0 };
    std::map<std::string, std::map<std::string, std::string>> m_sections;
};

class Display {
public:
    // 0: screen width, 1: screen height, 2: bits per pixel of the display; -1 for anything else.
    static int getParam(int which);
};

class SysConf {
public:
    // The system colours: 0 window background, 1 window text, 2 selection,
    // 3 edit background, 4 edit text, 5 disabled text, 6 button face.
    // 0 for an unknown number.
    static unsigned short getColor(int which);
};
