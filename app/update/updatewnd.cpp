#include "update/updatewnd.h"

#include "platform/charset.h"
#include "platform/shell_command.h"
#include "shell/pelnotifier.h"
#include "widgets/pelprogresswnd.h"

#include <lumi/app.h>
#include <lumi/config.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int kWindowStyle = 71;
constexpr int kWindowId = 101;
constexpr unsigned int kChildStyle = 70;
constexpr unsigned int kGridStyle = 0x0A080046;
constexpr unsigned int kAlignLeftMiddle = 18;
constexpr int kRowHeight = 40;

constexpr unsigned short kBlack = 0x0000;
constexpr unsigned short kWhite = 0xFFFF;
constexpr unsigned short kHeaderColour = 0x192B;
constexpr unsigned short kPanelColour = 0x7BAF;
constexpr unsigned short kAlertText = 0xF800;
constexpr unsigned short kScrollThumb = 0xAD55;
constexpr unsigned short kSelectedRow = 0xDEDB;
constexpr unsigned short kOddRow = 0xF7BE;
constexpr unsigned short kSelectedText = 0x0339;
constexpr unsigned short kRowText = 0x5ACB;

Font* namedFont(const char* name)
{
    LogFont lf(name, -1);
    return Font::getFont(&lf);
}

}

UpdateWnd::~UpdateWnd()
{
    delete m_logo;
    for (int i = 0; i < m_steps.size(); ++i)
        std::free(m_steps[i]);
    m_steps.clear();
}

void UpdateWnd::loadLogo()
{
    IniFile ini;
    if (ini.open("config.ini") != 0)
        return;
    char path[128];
    std::memset(path, 0, sizeof path);
    ini.readString("Log", "log_path", path, -1);
    if (path[0] == '\0')
        return;
    m_logo = ImageMan::load(path);
    if (!m_logo)
        return;
    if (m_logo->width() > m_logoRect.width())
        m_logoRect.right = m_logoRect.left + m_logo->width() + 10;
    if (m_logo->height() > m_logoRect.height())
        m_logoRect.bottom = m_logoRect.top + m_logo->height();
}

int UpdateWnd::create()
{
    const int width = Display::getParam(0);
    const int height = Display::getParam(1);
    const int result = MainWndBase::create(Rect(0, 0, width, height), kWindowStyle, kWindowId);
    Rect client;
    getClientRect(client);

    m_logoRect.setRect(0, 0, 100, 80);
    loadLogo();

    Rect rect = client;
    rect.left = m_logoRect.right + 20;
    rect.bottom = m_logoRect.bottom;
    m_titleLabel = new Label;
    m_titleLabel->create(this, rect, kChildStyle);
    m_titleLabel->setAlignFlag(kAlignLeftMiddle);
    m_titleLabel->setTextColor(kWhite);
    m_titleLabel->setBackColor(kHeaderColour);
    m_titleLabel->setFont(namedFont("large"));

    m_headerRect = client;
    m_headerRect.bottom = rect.bottom;

    Rect gridRect = client;
    gridRect.top = m_headerRect.bottom;
    gridRect.bottom -= 90;
    const int rows = gridRect.height() / kRowHeight;
    m_grid = new PelSmoothGrid;
    m_grid->create(this, gridRect, kGridStyle);
    m_grid->setSupplier(this, false);
    m_grid->setRowCol(rows, 1);
    m_grid->setScrollBarWidth(8);
    m_grid->setScrollBarColor(kWhite, kScrollThumb);
    Rect work(0, 0, gridRect.width(), gridRect.height());
    work.shrink(10, 8);
    m_grid->setWorkRegion(work);
    m_grid->showWindow(true);
    m_grid->setFont(namedFont("small"));

    Rect progressRect = gridRect;
    progressRect.offset(0, gridRect.height() + 20);
    progressRect.shrink(20, 0);
    progressRect.right = client.right - 80;
    progressRect.bottom = progressRect.top + 24;
    m_progress = new PelProgressWnd;
    m_progress->create(this, progressRect, kChildStyle);
    m_progress->setRange(0, 100);
    m_progress->setStep(10);

    rect = progressRect;
    rect.offset(progressRect.width() + 10, 0);
    rect.right = client.right;
    m_percentLabel = new Label;
    m_percentLabel->create(this, rect, kChildStyle);
    m_percentLabel->setAlignFlag(kAlignLeftMiddle);
    m_percentLabel->setTextColor(kAlertText);
    m_percentLabel->setBackColor(kPanelColour);
    m_percentLabel->setFont(namedFont("small"));

    rect = progressRect;
    rect.offset(0, progressRect.height());
    rect.bottom = rect.top + 30;
    m_statusLabel = new Label;
    m_statusLabel->create(this, rect, kChildStyle);
    m_statusLabel->setAlignFlag(kAlignLeftMiddle);
    m_statusLabel->setTextColor(kAlertText);
    m_statusLabel->setBackColor(kPanelColour);

    // Its ticks do nothing: only the finish timer is acted on.
    m_startTimer = setTimer(1000);
    puts("UpdateWnd::create()");
    return result;
}

char* UpdateWnd::takeText(void* payload)
{
    char* text = static_cast<char*>(payload);
    int length = static_cast<int>(std::strlen(text));
    // Update scripts on the device write GBK.
    char* utf8 = str2utf8(text, &length, CHARSET_GBK);
    std::free(text);
    return utf8;
}

int UpdateWnd::handleMessage(LUMIMessage& msg)
{
    if (msg.id == MSG_PEL_NOTIFY) {
        switch (msg.param1) {
        case 1:
            if (msg.data) {
                // A failed conversion still takes a row; it shows empty.
                m_steps.push_back(takeText(msg.data));
                msg.data = nullptr;
                m_grid->slideTo(m_steps.size() - 1, true, true);
            }
            break;
        case 2:
            if (msg.data) {
                char* title = takeText(msg.data);
                msg.data = nullptr;
                m_titleLabel->setText(title, true);
                std::free(title);
            }
            break;
        case 3: {
            const int value = msg.param2;
            // Kept: this test never holds, so every value is shown as sent,
            // negative and above 100 included; update scripts rely on the raw
            // number appearing on the screen.
            if (value < 0 && value > 100)
                break;
            m_progress->setPos(value);
            char text[32];
            std::snprintf(text, sizeof text, "%d %c", value, '%');
            m_percentLabel->setText(text, true);
            break;
        }
        case 4:
            m_finished = true;
            // A later "finished" restarts the second of grace.
            if (m_finishTimer)
                killTimer(m_finishTimer);
            m_finishTimer = setTimer(1000);
            break;
        case 5:
            if (msg.data) {
                char* status = takeText(msg.data);
                msg.data = nullptr;
                m_statusLabel->setText(status, true);
                std::free(status);
            }
            break;
        default:
            break;
        }
        // Every string that comes with the message is this window's to free,
        // also for types that carry none of interest (4, or unknown ones):
        // a long update must not leak a copy per datagram.
        std::free(msg.data);
        msg.data = nullptr;
    }
    return MainWndBase::handleMessage(msg);
}

int UpdateWnd::onTimer(int id)
{
    if (id != m_finishTimer || !m_finished)
        return 0;
    killTimer(m_finishTimer);
    m_finishTimer = 0;
    puts("[--I]exit app ");
    // The socket file goes with the program, so that a script sending after
    // the end finds nobody rather than a dead socket.
    const std::string command = std::string("rm ") + PelNotifier::path();
    runShellCommand(command.c_str());
    Rect client;
    getClientRect(client);
    {
        WndDC dc(this);
        dc.fillRect(client, kBlack);
    }
    theGuiApp()->exit(0);
    return 0;
}

int UpdateWnd::onPaint()
{
    Rect client;
    getClientRect(client);
    PaintDC paintDC(this);
    MemDC& memDC = m_paintBuffer;
    const Bitmap* kept = memDC.getBitmap();
    bool buffered = !kept->isNull() && kept->width() == client.width() && kept->height() == client.height();
    if (!buffered)
        buffered = memDC.create(client, &paintDC) == 0;
    DC& dc = buffered ? static_cast<DC&>(memDC) : static_cast<DC&>(paintDC);

    // The window's own background first, as the toolkit would paint it.
    onDrawBackground(&dc, &client, this);
    if (m_finished) {
        dc.fillRect(client, kBlack);
    } else {
        dc.fillRect(m_headerRect, kHeaderColour);
        if (m_logo) {
            const int x = m_logoRect.left + (m_logoRect.width() - m_logo->width()) / 2;
            const int y = m_logoRect.top + (m_logoRect.height() - m_logo->height()) / 2;
            dc.drawBitmap(x, y, m_logo);
        }
    }

    if (buffered)
        paintDC.drawBitmap(client.left, client.top, memDC.getBitmap());
    return 0;
}

int UpdateWnd::onDrawBackground(DC* dc, const Rect* rect, WndBase* child)
{
    if (!dc || !rect)
        return 0;
    dc->fillRect(*rect, child && child == m_grid ? kWhite : kPanelColour);
    return 0;
}

int UpdateWnd::getItemCount()
{
    return m_steps.size();
}

void UpdateWnd::drawItem(DC& dc, const Rect& rect, int index, unsigned int state)
{
    if (index < 0 || index >= m_steps.size())
        return;
    const bool selected = (state & GRID_STATE_SELECTED) != 0;
    dc.fillRect(rect, kWhite);
    Rect inner = rect;
    inner.shrink(1, 1);
    if (selected) {
        dc.fillRect(inner, kSelectedRow);
    } else {
        dc.fillRect(inner, index % 2 == 0 ? kWhite : kOddRow);
        // Kept as drawn on the device: the separator falls two pixels
        // across the row instead of running along its bottom edge.
        dc.setPenColor(kSelectedRow);
        dc.drawLine(inner.left, inner.bottom - 2, inner.right, inner.bottom);
    }
    Rect textRect = rect;
    textRect.shrink(5, 3);
    dc.setTextColor(selected ? kSelectedText : kRowText);
    const char* text = m_steps[index];
    dc.drawText(textRect, text ? text : "", kAlignLeftMiddle, -1);
}
