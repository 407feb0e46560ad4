#include "quicktest/quicktestwnd.h"

#include "quicktest/quicktest_texts.h"
#include "shell/notify_protocol.h"
#include "testfun/catalogue.h"
#include "testfun/log.hpp"
#include "widgets/pelbutton.h"
#include "widgets/peledit.h"

#include <lumi/config.h>
#include <lumi/controls.h>
#include <lumi/gdi.h>

#include <cstdio>
#include <cstring>

using quicktest::Utf8Text;

namespace {

// Colours of the screen (RGB565).
constexpr unsigned short kWhite = 0xFFFF; // grid background, even rows, texts on colour
constexpr unsigned short kOddRow = 0xF7BE;
constexpr unsigned short kLightGrey = 0xDEDB; // selected row, row separators, log background
constexpr unsigned short kWindowBack = 0x7BAF;
constexpr unsigned short kBlue = 0x5D5D; // hint background, button face
constexpr unsigned short kLightBlue = 0x971F; // status background, buttons' second colour
constexpr unsigned short kScrollThumb = 0xAD55;
constexpr unsigned short kPassColour = 0x5D82;
constexpr unsigned short kFailColour = 0xF800;
constexpr unsigned short kUntestedColour = 0x5ACB; // also the log's text

// Toolkit styles and text placement the screen is built with.
constexpr unsigned int kMainStyle = 71;
constexpr unsigned int kLabelStyle = 70;
constexpr unsigned int kSwatchStyle = 6; // also the buttons
constexpr unsigned int kGridStyle = 0x0A080046;
constexpr unsigned int kLogStyle = 0x12480006;
constexpr unsigned int kAlignLeft = 18; // one line, vertically centred, from the left
constexpr unsigned int kAlignCentre = 34; // one line, centred

constexpr int kRowHeight = 40;
constexpr int kTopBandHeight = 70;
constexpr int kBottomBandHeight = 100;
constexpr int kLegendStep = 90;

// Where the screen's parts go on a client rectangle.
struct ScreenLayout {
    explicit ScreenLayout(const Rect& client);

    Rect hint;
    Rect status;
    Rect grid;
    Rect log;
    Rect current;
    Rect swatch[3]; // the legend: untested, pass, fail
    Rect text[3];
    Rect power;
    Rect next;
};

ScreenLayout::ScreenLayout(const Rect& client)
{
    // Hint, top left: two fifths of the width.
    hint = Rect(client.left, client.top, client.left + client.width() * 2 / 5, client.top + kTopBandHeight);

    // Overall status, top right.
    status = hint;
    status.offset(hint.width(), 0);
    status.right = client.right;

    // The list of tests, under the hint, down to the bottom band.
    grid = hint;
    grid.offset(0, hint.height());
    grid.bottom = client.bottom - kBottomBandHeight;

    // The log, right of the list.
    log = grid;
    log.offset(grid.width(), 0);
    log.right = client.right;

    // The current test's line, under the list.
    current = grid;
    current.offset(0, grid.height() + 5);
    current.shrink(10, 0);
    current.bottom = current.top + 40;

    // The legend: three 30 x 30 swatches, each with a 50 x 30 text beside
    // it, 90 pixels apart, under the current test's line.
    Rect swatchRect = current;
    swatchRect.offset(0, current.height() + 10);
    swatchRect.right = swatchRect.left + 30;
    swatchRect.bottom = swatchRect.top + 30;
    Rect textRect = swatchRect;
    textRect.offset(30, 0);
    textRect.right += 20;
    for (int i = 0; i < 3; ++i) {
        swatch[i] = swatchRect;
        text[i] = textRect;
        swatchRect.offset(kLegendStep, 0);
        textRect.offset(kLegendStep, 0);
    }

    // Power off: 120 x 40, 30 pixels in from the right, 40 under the log.
    power = log;
    power.offset(0, log.height() + 40);
    power.shrink(30, 0);
    power.left = power.right - 120;
    power.bottom = power.top + 40;

    // Next, 60 pixels left of it.
    next = power;
    next.offset(-(60 + power.width()), 0);
}

// A text or swatch of the screen. Colours of -1 are left as the toolkit's.
struct LabelPlan {
    Label* QuickTestWnd::*field;
    const Rect& rect;
    unsigned int style;
    unsigned int align; // 0: left as the toolkit's
    int backColour;
    int textColour;
    const char* gbk; // null: no text
    int gbkBytes;
    const char* font; // null: the default font
};

// A button of the screen: blue face, white caption, centred.
struct ButtonPlan {
    PelButton* QuickTestWnd::*field;
    const Rect& rect;
    const char* gbk;
    int gbkBytes;
    bool show;
};

template <size_t N> constexpr int gbkBytes(const char (&)[N])
{
    return static_cast<int>(N - 1);
}

Label* makeLabel(WndBase* parent, const LabelPlan& plan)
{
    auto* label = new Label; // a child: the toolkit deletes it with the window
    label->create(parent, plan.rect, plan.style);
    if (plan.align)
        label->setAlignFlag(plan.align);
    if (plan.backColour >= 0)
        label->setBackColor(static_cast<unsigned short>(plan.backColour));
    if (plan.textColour >= 0)
        label->setTextColor(static_cast<unsigned short>(plan.textColour));
    if (plan.font) {
        LogFont font(plan.font, -1);
        label->setFont(Font::getFont(&font));
    }
    if (plan.gbk) {
        // A failed conversion leaves the label without its text.
        Utf8Text text(plan.gbk, plan.gbkBytes);
        if (text)
            label->setText(text.get());
    }
    return label;
}

PelButton* makeButton(WndBase* parent, const ButtonPlan& plan)
{
    auto* button = new PelButton;
    button->create(parent, plan.rect, kSwatchStyle);
    button->setColor(kBlue, kLightBlue);
    button->setTextColor(kWhite, 0);
    Utf8Text caption(plan.gbk, plan.gbkBytes);
    if (caption)
        button->setText(caption.get());
    button->setAlignFlag(kAlignCentre);
    if (plan.show)
        button->showWindow(true);
    return button;
}

}

QuickTestWnd::QuickTestWnd() = default;

QuickTestWnd::~QuickTestWnd()
{
    // The controls are the toolkit's; the log and the tests are ours.
    delete log;
    log = nullptr;
    for (int i = 0; i < items.size(); ++i)
        delete items[i];
    items.clear();
}

int QuickTestWnd::gridRowsFor(const Rect& gridArea)
{
    return gridArea.height() / kRowHeight;
}

int QuickTestWnd::create()
{
    const int width = Display::getParam(0);
    const int height = Display::getParam(1);
    const int rc = MainWndBase::create(Rect(0, 0, width, height), kMainStyle, PEL_MAIN_WND_ID);
    if (rc != 0)
        return rc;

    initTestItems(items);

    // "runall" above 0 keeps a failing test from stopping the automatic run.
    // A missing key or a value of 0 or less means stop at the first failure;
    // without the file at all the run goes on (the constructor's default).
    IniFile ini;
    if (ini.open("config.ini") == 0) {
        char buffer[10] = {};
        int value = 0;
        ini.readString("autorun", "runall", buffer, -1);
        sscanf(buffer, "%d", &value);
        m_run.setRunAll(value > 0);
        // The run report's file; without the key the program writes none.
        char reportFile[1024] = {};
        ini.readString("report", "file", reportFile, -1);
        if (strlen(reportFile) >= sizeof reportFile - 1)
            printf("***ERR: report: the file name in config.ini is too long; no report is written\n");
        else if (reportFile[0])
            m_report.setPath(reportFile);
    }

    Rect client;
    getClientRect(client);
    const ScreenLayout layout(client);
    using quicktest::kFail;
    using quicktest::kHint;
    using quicktest::kPass;
    using quicktest::kUntested;

    // In the order they are made: the two labels of the top band, then
    // (after the list and the log) the current test's line and the legend.
    const LabelPlan labels[] = {
        { &QuickTestWnd::hintLabel, layout.hint, kLabelStyle, kAlignLeft, kBlue, kWhite, kHint,
            gbkBytes(kHint), nullptr },
        { &QuickTestWnd::statusLabel, layout.status, kLabelStyle, kAlignCentre, kLightBlue, -1, nullptr, 0,
            "large" },
        { &QuickTestWnd::currentLabel, layout.current, kLabelStyle, kAlignLeft, -1, -1, nullptr, 0, nullptr },
        { &QuickTestWnd::untestedSwatch, layout.swatch[0], kSwatchStyle, 0, kUntestedColour, -1, nullptr, 0,
            nullptr },
        { &QuickTestWnd::untestedText, layout.text[0], kLabelStyle, kAlignLeft, -1, kWhite, kUntested,
            gbkBytes(kUntested), nullptr },
        { &QuickTestWnd::passSwatch, layout.swatch[1], kSwatchStyle, 0, kPassColour, -1, nullptr, 0,
            nullptr },
        { &QuickTestWnd::passText, layout.text[1], kLabelStyle, kAlignLeft, -1, kWhite, kPass,
            gbkBytes(kPass), nullptr },
        { &QuickTestWnd::failSwatch, layout.swatch[2], kSwatchStyle, 0, kFailColour, -1, nullptr, 0,
            nullptr },
        { &QuickTestWnd::failText, layout.text[2], kLabelStyle, kAlignLeft, -1, kWhite, kFail,
            gbkBytes(kFail), nullptr },
    };
    constexpr size_t kTopBandLabels = 2;
    const ButtonPlan buttons[] = {
        { &QuickTestWnd::powerButton, layout.power, quicktest::kPowerOff, gbkBytes(quicktest::kPowerOff),
            true },
        { &QuickTestWnd::nextButton, layout.next, quicktest::kNext, gbkBytes(quicktest::kNext), false },
    };

    for (size_t i = 0; i < kTopBandLabels; ++i)
        this->*labels[i].field = makeLabel(this, labels[i]);

    const int rowsPerPage = gridRowsFor(layout.grid);
    grid = new PelSmoothGrid;
    grid->create(this, layout.grid, kGridStyle);
    grid->setSupplier(this, false);
    grid->setRowCol(rowsPerPage, 1);
    grid->setScrollBarWidth(10);
    grid->setScrollBarColor(kWhite, kScrollThumb);
    Rect workRegion = layout.grid;
    workRegion.shrink(12, 8);
    grid->wndToClient(workRegion);
    grid->setWorkRegion(workRegion);
    grid->showWindow(true);

    logEdit = new PelEdit;
    logEdit->create(this, layout.log, kLogStyle);
    logEdit->setScrollBarWidth(20);
    logEdit->setEditBGColor(kLightGrey);
    logEdit->setTextColor(kUntestedColour);
    log = new EditLog(logEdit);
    if (m_report.enabled())
        log->setLineObserver([this](const char* line) { m_report.logLine(line); });

    for (size_t i = kTopBandLabels; i < sizeof labels / sizeof labels[0]; ++i)
        this->*labels[i].field = makeLabel(this, labels[i]);
    for (const ButtonPlan& plan : buttons)
        this->*plan.field = makeButton(this, plan);

    // The automatic run starts at row 0 with the first step, 50 ms from now.
    runTimer = setTimer(kStepMs);
    return rc;
}

int QuickTestWnd::getItemCount()
{
    itemCount = items.size();
    return itemCount;
}

void QuickTestWnd::drawItem(DC& dc, const Rect& rect, int index, unsigned int state)
{
    if (index < 0 || index >= items.size())
        return;

    if (state & GRID_STATE_SELECTED) {
        fillCell(dc, rect, kWhite, kLightGrey);
    } else {
        fillCell(dc, rect, kWhite, index % 2 ? kOddRow : kWhite);
        // Kept: the separator runs from two pixels above the bottom-left
        // corner to the bottom-right corner, a faint slant on a wide row.
        dc.setPenColor(kLightGrey);
        dc.drawLine(rect.left, rect.bottom - 2, rect.right, rect.bottom);
    }

    Rect textRect = rect;
    textRect.shrink(3, 3);
    TestItem* item = items[index];
    const int result = item->getResult();
    dc.setTextColor(result == 0 ? kPassColour : result == 1 ? kFailColour : kUntestedColour);
    dc.drawText(textRect, quicktest::shownName(item->getName()), kAlignLeft, -1);
}

bool QuickTestWnd::coversItem(int index, unsigned int /*state*/)
{
    // A row of a test is filled edge to edge; an empty cell is left alone.
    return index >= 0 && index < items.size();
}

int QuickTestWnd::onDrawBackground(DC* dc, const Rect* rect, WndBase* w)
{
    if (!dc || !rect)
        return 0;
    unsigned short colour = kWindowBack;
    if (w && w == grid)
        colour = kWhite;
    else if (w && w == logEdit)
        colour = kLightGrey;
    dc->fillRect(*rect, colour);
    return 0;
}

int QuickTestWnd::onActivate(bool active)
{
    // The grid's slide timer runs only while this window is on top: a
    // question box over the list stops it, its closing restarts it.
    if (grid)
        grid->setSlideTimerRunning(active);
    if (active)
        labelResult();
    return 0;
}

int QuickTestWnd::onKeydown(int key, int state)
{
    return WndBase::onKeydown(key, state);
}
