#pragma once
// The quick-test screen's operator texts, kept in GBK as the program stores
// them, and the conversion that hands them to the toolkit as UTF-8.

#include "platform/charset.h"

#include <cstddef>
#include <cstdlib>

namespace quicktest {

// clang-format off
inline constexpr char kHint[] = " \xC7\xEB\xCF\xC8\xB2\xE5\xC8\xEB\xCA\xF3\xB1\xEA\xBA\xCD\xCD\xF8\xCF\xDF"; //  请先插入鼠标和网线, please first plug in the mouse and the network cable (the blank leads)
inline constexpr char kPass[] = "\xB3\xC9\xB9\xA6";                       // 成功, pass
inline constexpr char kFail[] = "\xCA\xA7\xB0\xDC";                       // 失败, fail
inline constexpr char kUntested[] = "\xCE\xB4\xB2\xE2";                   // 未测, untested
inline constexpr char kAllPassed[] = "\xC8\xAB\xB2\xBF\xB2\xE2\xCA\xD4\xCD\xA8\xB9\xFD\xA3\xA1"; // 全部测试通过！, all tests passed!
inline constexpr char kTestFailed[] = "\xB2\xE2\xCA\xD4\xCA\xA7\xB0\xDC!"; // 测试失败!, test failed!
inline constexpr char kRetestQuestion[] = "\xCA\xA7\xB0\xDC,\xCA\xC7\xB7\xF1\xD2\xAA\xD6\xD8\xD0\xC2\xB2\xE2\xCA\xD4\xA3\xBF"; // 失败,是否要重新测试？, failed, test again?
inline constexpr char kOkQuestion[] = "\xC7\xEB\xC8\xB7\xB6\xA8\xB4\xCB\xB9\xA6\xC4\xDC\xCA\xC7\xB7\xF1OK?"; // 请确定此功能是否OK?, please confirm whether this function is OK
inline constexpr char kNext[] = "\xCF\xC2\xD2\xBB\xCF\xEE";               // 下一项, next item
inline constexpr char kPowerOff[] = "\xB9\xD8\xBB\xFA";                   // 关机, power off
// clang-format on

// A GBK text converted to UTF-8 for as long as the object lives. Null when
// the conversion failed (memory ran out): callers then skip that update.
class Utf8Text {
public:
    Utf8Text(const char* gbk, int bytes)
    {
        int length = bytes;
        m_text = str2utf8(gbk, &length, CHARSET_GBK);
    }
    template <size_t N>
    explicit Utf8Text(const char (&gbk)[N])
        : Utf8Text(gbk, static_cast<int>(N - 1))
    {
    }
    ~Utf8Text() { std::free(m_text); }
    Utf8Text(const Utf8Text&) = delete;
    Utf8Text& operator=(const Utf8Text&) = delete;

    const char* get() const { return m_text; }
    explicit operator bool() const { return m_text != nullptr; }

private:
    char* m_text { nullptr };
};

// An item's name as the window formats it: glibc's "(null)" when its
// conversion failed, without handing printf a null pointer.
inline const char* shownName(const char* name)
{
    return name ? name : "(null)";
}

}
