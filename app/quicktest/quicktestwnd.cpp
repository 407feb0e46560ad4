#include "quicktest/quicktestwnd.h"

#include "quicktest/quicktest_texts.h"
#include "testfun/catalogue.h"
#include "testfun/log.hpp"
#include "widgets/pelbutton.h"
#include "widgets/peledit.h"

#include <lumi/config.h>
#include <lumi/controls.h>
#include <lumi/gdi.h>

#include <cstdio>

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

Label* makeLabel(WndBase* parent, const Rect& rect, unsigned int style)
{
    auto* label = new Label; // a child: the toolkit deletes it with the window
    label->create(parent, rect, style);
    return label;
}

// Sets a GBK text on a label; a failed conversion leaves the label as it is.
template <size_t N> void setGbkText(Label* label, const char (&gbk)[N])
{
    Utf8Text text(gbk);
    if (text)
        label->setText(text.get());
}

template <size_t N> PelButton* makeButton(WndBase* parent, const Rect& rect, const char (&gbkCaption)[N])
{
    auto* button = new PelButton;
    button->create(parent, rect, kSwatchStyle);
    button->setColor(kBlue, kLightBlue);
    button->setTextColor(kWhite, 0);
    Utf8Text caption(gbkCaption);
    if (caption)
        button->setText(caption.get());
    button->setAlignFlag(kAlignCentre);
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
    const int rc = MainWndBase::create(Rect(0, 0, width, height), kMainStyle, kWndId);
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
        runAll = value > 0;
    }

    Rect client;
    getClientRect(client);
    const int clientWidth = client.width();

    // Hint, top left: two fifths of the width.
    const Rect hintRect(
        client.left, client.top, client.left + clientWidth * 2 / 5, client.top + kTopBandHeight);
    hintLabel = makeLabel(this, hintRect, kLabelStyle);
    hintLabel->setAlignFlag(kAlignLeft);
    hintLabel->setBackColor(kBlue);
    hintLabel->setTextColor(kWhite);
    setGbkText(hintLabel, quicktest::kHint);

    // Overall status, top right, in the large font; empty until a verdict.
    Rect statusRect = hintRect;
    statusRect.offset(hintRect.width(), 0);
    statusRect.right = client.right;
    statusLabel = makeLabel(this, statusRect, kLabelStyle);
    statusLabel->setAlignFlag(kAlignCentre);
    statusLabel->setBackColor(kLightBlue);
    LogFont large("large", -1);
    statusLabel->setFont(Font::getFont(&large));

    // The list of tests, under the hint, down to the bottom band.
    Rect gridRect = hintRect;
    gridRect.offset(0, hintRect.height());
    gridRect.bottom = client.bottom - kBottomBandHeight;
    const int rowsPerPage = gridRowsFor(gridRect);
    grid = new PelSmoothGrid;
    grid->create(this, gridRect, kGridStyle);
    grid->setSupplier(this, false);
    grid->setRowCol(rowsPerPage, 1);
    grid->setScrollBarWidth(10);
    grid->setScrollBarColor(kWhite, kScrollThumb);
    Rect workRegion = gridRect;
    workRegion.shrink(12, 8);
    grid->wndToClient(workRegion);
    grid->setWorkRegion(workRegion);
    grid->showWindow(true);

    // The log, right of the list.
    Rect logRect = gridRect;
    logRect.offset(gridRect.width(), 0);
    logRect.right = client.right;
    logEdit = new PelEdit;
    logEdit->create(this, logRect, kLogStyle);
    logEdit->setScrollBarWidth(20);
    logEdit->setEditBGColor(kLightGrey);
    logEdit->setTextColor(kUntestedColour);
    log = new EditLog(logEdit);

    // The current test's line, under the list.
    Rect currentRect = gridRect;
    currentRect.offset(0, gridRect.height() + 5);
    currentRect.shrink(10, 0);
    currentRect.bottom = currentRect.top + 40;
    currentLabel = makeLabel(this, currentRect, kLabelStyle);
    currentLabel->setAlignFlag(kAlignLeft);

    // The legend: three 30 x 30 swatches, each with a 50 x 30 text beside it,
    // 90 pixels apart, under the current test's line.
    Rect swatchRect = currentRect;
    swatchRect.offset(0, currentRect.height() + 10);
    swatchRect.right = swatchRect.left + 30;
    swatchRect.bottom = swatchRect.top + 30;
    Rect textRect = swatchRect;
    textRect.offset(30, 0);
    textRect.right += 20;
    struct LegendEntry {
        Label** swatch;
        Label** text;
        unsigned short colour;
        const char* gbk;
        int bytes;
    };
    const LegendEntry legend[] = {
        { &untestedSwatch, &untestedText, kUntestedColour, quicktest::kUntested,
            static_cast<int>(sizeof quicktest::kUntested - 1) },
        { &passSwatch, &passText, kPassColour, quicktest::kPass,
            static_cast<int>(sizeof quicktest::kPass - 1) },
        { &failSwatch, &failText, kFailColour, quicktest::kFail,
            static_cast<int>(sizeof quicktest::kFail - 1) },
    };
    for (const LegendEntry& entry : legend) {
        *entry.swatch = makeLabel(this, swatchRect, kSwatchStyle);
        (*entry.swatch)->setBackColor(entry.colour);
        *entry.text = makeLabel(this, textRect, kLabelStyle);
        (*entry.text)->setAlignFlag(kAlignLeft);
        (*entry.text)->setTextColor(kWhite);
        Utf8Text text(entry.gbk, entry.bytes);
        if (text)
            (*entry.text)->setText(text.get());
        swatchRect.offset(kLegendStep, 0);
        textRect.offset(kLegendStep, 0);
    }

    // Power off: 120 x 40, 30 pixels in from the right, 40 under the log.
    Rect powerRect = logRect;
    powerRect.offset(0, logRect.height() + 40);
    powerRect.shrink(30, 0);
    powerRect.left = powerRect.right - 120;
    powerRect.bottom = powerRect.top + 40;
    powerButton = makeButton(this, powerRect, quicktest::kPowerOff);
    powerButton->showWindow(true);

    // Next, 60 pixels left of it.
    Rect nextRect = powerRect;
    nextRect.offset(-(60 + powerRect.width()), 0);
    nextButton = makeButton(this, nextRect, quicktest::kNext);

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

    dc.fillRect(rect, kWhite);
    Rect inner = rect;
    inner.shrink(1, 1);
    if (state & GRID_STATE_SELECTED) {
        dc.fillRect(inner, kLightGrey);
    } else {
        dc.fillRect(inner, index % 2 ? kOddRow : kWhite);
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
