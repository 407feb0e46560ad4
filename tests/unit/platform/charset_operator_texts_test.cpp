// The program's operator texts, stored as GBK bytes, reach the screen as the
// intended UTF-8 and convert back.

#include "charset_test_support.h"

#include "platform/charset.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using charsettest::Converted;
using charsettest::fromUtf8;
using charsettest::toUtf8;

struct OperatorText {
    const char* gbk; // the bytes as the program stores them
    const char* utf8; // what the operator must see
};

// Each text with its meaning, one a line so that the bytes stay beside their text.
// clang-format off
const OperatorText kOperatorTexts[] = {
    { "\xB3\xC9\xB9\xA6", u8"成功" },  // pass
    { "\xCA\xA7\xB0\xDC", u8"失败" },  // fail
    { "\xCE\xB4\xB2\xE2", u8"未测" },  // untested
    { "\xC7\xEB\xC8\xB7\xB6\xA8\xB4\xCB\xB9\xA6\xC4\xDC\xCA\xC7\xB7\xF1OK?", u8"请确定此功能是否OK?" },  // please confirm whether this function is OK
    { "\xC8\xAB\xB2\xBF\xB2\xE2\xCA\xD4\xCD\xA8\xB9\xFD\xA3\xA1", u8"全部测试通过！" },  // all tests passed!
    { "\xB2\xE2\xCA\xD4\xCA\xA7\xB0\xDC!", u8"测试失败!" },  // test failed!
    { "\xCA\xA7\xB0\xDC,\xCA\xC7\xB7\xF1\xD2\xAA\xD6\xD8\xD0\xC2\xB2\xE2\xCA\xD4\xA3\xBF", u8"失败,是否要重新测试？" },  // failed, test again?
    { " \xC7\xEB\xCF\xC8\xB2\xE5\xC8\xEB\xCA\xF3\xB1\xEA\xBA\xCD\xCD\xF8\xCF\xDF", u8" 请先插入鼠标和网线" },  // please first plug in the mouse and the network cable
    { "\xCF\xC2\xD2\xBB\xCF\xEE", u8"下一项" },  // next item
    { "\xB9\xD8\xBB\xFA", u8"关机" },  // power off
    { "\xCA\xF3\xB1\xEA", u8"鼠标" },  // mouse
    { "\xC4\xDA\xB2\xBF\xB4\xA2\xB4\xE6", u8"内部储存" },  // internal storage
    { "U\xC5\xCC\xB2\xE2\xCA\xD4", u8"U盘测试" },  // USB disk test
    { "\xCE\xDE\xCF\xDF", u8"无线" },  // wireless
    { "\xB4\xA5\xC3\xFE\xC6\xC1\xD0\xA3\xD7\xBC", u8"触摸屏校准" },  // touch-screen calibration
    { "\xD2\xD4\xCC\xAB\xCD\xF8", u8"以太网" },  // Ethernet
    { "\xD5\xD5\xCF\xE0\xBB\xFA", u8"照相机" },  // camera
    { "LCD\xC6\xC1", u8"LCD屏" },  // LCD screen
    { "\xD2\xF4\xC6\xB5", u8"音频" },  // audio
    { "\xD5\xF0\xB6\xAF", u8"震动" },  // vibration
    { "G-\xB4\xAB\xB8\xD0\xC6\xF7", u8"G-传感器" },  // G-sensor
    { "\xB3\xE4\xB5\xE7\xD7\xB4\xCC\xAC", u8"充电状态" },  // charging state
    { "\xB0\xB4\xBC\xFC", u8"按键" },  // keys
    { "\xC7\xEB\xD4\xDA" "5\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEBMenu\xBC\xFC", u8"请在5秒内输入Menu键" },  // press Menu within 5 seconds
    { "\xC7\xEB\xD4\xDA" "5\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB" "Back\xBC\xFC", u8"请在5秒内输入Back键" },  // press Back within 5 seconds
    { "\xC7\xEB\xD4\xDA" "5\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB\xD2\xF4\xC1\xBF VOL+ \xBC\xFC", u8"请在5秒内输入音量 VOL+ 键" },  // press volume VOL+ within 5 seconds
    { "\xC7\xEB\xD4\xDA" "5\xC3\xEB\xC4\xDA\xCA\xE4\xC8\xEB\xD2\xF4\xC1\xBF VOL- \xBC\xFC", u8"请在5秒内输入音量 VOL- 键" },  // press volume VOL- within 5 seconds
    { "\xC7\xEB\xB0\xB4\xB0\xB4\xBC\xFC", u8"请按按键" },  // please press the keys
    { "\xC7\xEB\xB2\xE5\xC8\xEB\xCA\xF3\xB1\xEA", u8"请插入鼠标" },  // please plug in a mouse
    { "\xCC\xFD\xB5\xBD\xC9\xF9\xD2\xF4\xC1\xCB\xC2\xF0\xA3\xBF", u8"听到声音了吗？" },  // did you hear the sound?
    { "\xC7\xEB\xB6\xD4\xD7\xBCMIC\xCB\xB5\xBB\xB0" "5\xC3\xEB\xD6\xD3", u8"请对准MIC说话5秒钟" },  // speak into the MIC for 5 seconds
    { "\xBB\xD8\xB7\xC5\xB8\xD5\xB2\xC5\xC4\xFA\xCB\xB5\xB5\xC4\xBB\xB0", u8"回放刚才您说的话" },  // playing back what you just said
    { "\xD2\xD4\xCC\xAB\xCD\xF8\xC9\xE8\xB1\xB8\xB3\xF6\xB4\xED", u8"以太网设备出错" },  // Ethernet device error
    { "\xCD\xF8\xCF\xDF\xC3\xBB\xB2\xE5\xC8\xEB!", u8"网线没插入!" },  // network cable not plugged in!
    { "\xC7\xEB\xB5\xC8\xB4\xFD...", u8"请等待..." },  // please wait...
    { "Wifi \xB3\xC9\xB9\xA6", u8"Wifi 成功" },  // Wi-Fi success
    { "Wifi \xCA\xA7\xB0\xDC", u8"Wifi 失败" },  // Wi-Fi failure
    { "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xB5\xE7\xB3\xD8\xC9\xE8\xB1\xB8!", u8"不能打开电池设备!" },  // cannot open the battery device!
    { "\xCF\xD6\xD4\xDA\xCA\xC7\xB5\xE7\xB3\xD8\xB9\xA9\xB5\xE7?", u8"现在是电池供电?" },  // running on battery now?
    { "\xCF\xD6\xD4\xDA\xCA\xC7\xCD\xE2\xB2\xBF\xB5\xE7\xD4\xB4\xB9\xA9\xB5\xE7?", u8"现在是外部电源供电?" },  // running on external power now?
    { "\xB2\xBB\xC4\xDC\xB5\xC8\xB5\xBD\xB5\xE7\xD4\xB4\xB9\xA9\xB5\xE7!", u8"不能等到电源供电!" },  // cannot get the power supply!
    { "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xD5\xF0\xB6\xAF\xC9\xE8\xB1\xB8!", u8"不能打开震动设备!" },  // cannot open the vibration device!
    { "\xD5\xF0\xB6\xAF\xC9\xE8\xB1\xB8\xCA\xC7\xB7\xF1OK.", u8"震动设备是否OK." },  // is the vibration device OK.
    { "\xBF\xAA\xCA\xBC\xB2\xE2\xCA\xD4\xB4\xAB\xB8\xD0\xC6\xF7......", u8"开始测试传感器......" },  // starting the sensor test......
    { "\xB2\xBB\xC4\xDC\xB4\xF2\xBF\xAA\xB4\xAB\xB8\xD0\xC6\xF7!", u8"不能打开传感器!" },  // cannot open the sensor!
    { "\xCD\xCB\xB3\xF6", u8"退出" },  // exit
    { "\xC7\xEB\xD7\xBC\xC8\xB7\xB5\xE3\xBB\xF7\xCA\xAE\xD7\xD6\xBD\xB9\xB5\xE3\xD6\xD0\xD0\xC4\xD6\xC1\xC9\xD9" "0.5\xC3\xEB\xD6\xD3. \xCB\xE6\xC4\xBF\xB1\xEA\xD2\xC6\xB6\xAF\xD6\xD8\xB8\xB4\xB5\xE3\xBB\xF7, \xCD\xEA\xB3\xC9\xB4\xA5\xC3\xFE\xC6\xC1\xC4\xBB\xD0\xA3\xD7\xBC", u8"请准确点击十字焦点中心至少0.5秒钟. 随目标移动重复点击, 完成触摸屏幕校准" },  // tap the centre of the cross accurately for at least 0.5 s; tap again as the target moves to finish calibrating the touch screen
    { "\xC8\xA1\xCF\xFB", u8"取消" },  // cancel
    { "\xC7\xEB\xCB\xE6\xD2\xE2\xD4\xDA\xB4\xA5\xC3\xFE\xC6\xC1\xC4\xBB\xC9\xCF\xBB\xAD\xB6\xAF\xA1\xA3\xC8\xF4\xB2\xBB\xBB\xAD\xA3\xAC\xBD\xAB\xBB\xE1\xD4\xDA" "5\xC3\xEB\xD6\xD3\xBA\xF3\xD7\xD4\xB6\xAF\xCD\xCB\xB3\xF6", u8"请随意在触摸屏幕上画动。若不画，将会在5秒钟后自动退出" },  // draw freely on the touch screen; if you do not, it exits by itself after 5 seconds
    { "\xCA\xC7", u8"是" },  // yes
    { "\xB7\xF1", u8"否" },  // no
};
// clang-format on

TEST(OperatorTexts, EveryGbkTextConvertsToItsUtf8Text)
{
    for (const OperatorText& t : kOperatorTexts) {
        const Converted c = toUtf8(t.gbk, CHARSET_GBK);
        ASSERT_NE(c.text, nullptr) << t.utf8;
        EXPECT_EQ(c.bytes(), t.utf8);
        EXPECT_EQ(c.length, static_cast<int>(std::strlen(t.utf8))) << t.utf8;
    }
}

TEST(OperatorTexts, EveryUtf8TextConvertsBackToItsGbkBytes)
{
    for (const OperatorText& t : kOperatorTexts)
        EXPECT_EQ(fromUtf8(t.utf8, CHARSET_GBK), t.gbk) << t.utf8;
}

TEST(OperatorTexts, GbkTextsAreJudgedGbkAndTheirUtf8FormsUtf8)
{
    for (const OperatorText& t : kOperatorTexts) {
        EXPECT_EQ(judgeCharset(t.gbk, -1), 2) << t.utf8;
        EXPECT_EQ(judgeCharset(t.utf8, -1), 1) << t.utf8;
    }
}

TEST(OperatorTexts, TheHintWithItsLeadingBlankIs19GbkBytesAnd28Utf8Bytes)
{
    const char* hint = " \xC7\xEB\xCF\xC8\xB2\xE5\xC8\xEB\xCA\xF3\xB1\xEA\xBA\xCD\xCD\xF8\xCF\xDF";
    ASSERT_EQ(std::strlen(hint), 19u);
    int length = 19;
    charsettest::HeapString out(str2utf8(hint, &length, CHARSET_GBK));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(length, 28);
    EXPECT_STREQ(out.get(), u8" 请先插入鼠标和网线");
}

} // namespace
