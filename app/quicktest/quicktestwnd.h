#pragma once
// The quick-test screen (start-up type 6): the list of tests in a smooth
// grid, the log of the running test beside it, the overall verdict, the
// current test's line, a colour legend and the "next" and "power off"
// buttons. The window supplies the grid's rows itself and runs the tests:
// one by one on a touch, or one after another on a 50 ms step timer.
//
// Drawing and construction live in quicktestwnd.cpp; the run sequence's
// decisions in runsequence.cpp (no toolkit there) and what they do on the
// screen in quicktestwnd_run.cpp.

#include "quicktest/runreport.h"
#include "quicktest/runsequence.h"
#include "widgets/pelsmoothgrid.h"
#include "widgets/tdynarray.h"

#include <lumi/window.h>

#include <cstddef>

class DC;
class EditLog;
class Label;
class PelButton;
class PelEdit;
class TestItem;

class QuickTestWnd : public MainWndBase, public GridSupplier {
public:
    // Id of a test's own full-screen window, closed when the operator answers.
    static constexpr int kTestWndId = 103;
    // One step of the automatic run.
    static constexpr int kStepMs = 50;

    // Command ids of the question boxes.
    enum : int {
        CMD_OK = 110, // the function works
        CMD_NOT_OK = 111, // the function fails
        CMD_RETEST = 112, // test the failed row again
        CMD_NO_RETEST = 113, // keep the failure
    };

    QuickTestWnd();
    ~QuickTestWnd() override;

    // Builds the full-screen window with id PEL_MAIN_WND_ID, reads the
    // catalogue and the run-all setting from "config.ini", lays the controls
    // out and starts the first step timer. Returns the result of making the
    // main window; a failure there is returned at once.
    int create();

    // Rows per page of a grid area: whole 40-pixel rows (0 when it is lower
    // than one row; the grid then raises it to 1).
    static int gridRowsFor(const Rect& gridArea);

    // GridSupplier.
    int getItemCount() override;
    void drawItem(DC& dc, const Rect& rect, int index, unsigned int state) override;
    bool coversItem(int index, unsigned int state) override;

    // The run sequence.
    int clickItemExec(int index);
    void checkRunNext();
    void resultFails();
    void labelResult();

protected:
    int handleMessage(LUMIMessage& msg) override;
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* w) override;
    int onKeydown(int key, int state) override;
    int onTimer(int id) override;
    int onNotify(WndBase* w, int code, int param) override;
    int onCommand(LUMIMessage& msg) override;
    int onActivate(bool active) override;

    // Which row runs next, the operator's open question, run-all and the
    // verdicts already reported.
    const quicktest::RunSequence& sequence() const { return m_run; }
    // The run report named in "config.ini" ([report] file); off without one.
    const quicktest::RunReport& report() const { return m_report; }

    TDynArray<TestItem*> items; // owned
    PelEdit* logEdit { nullptr };
    Label* currentLabel { nullptr };
    Label* hintLabel { nullptr };
    Label* failSwatch { nullptr };
    Label* passSwatch { nullptr };
    Label* untestedSwatch { nullptr };
    Label* failText { nullptr };
    Label* passText { nullptr };
    Label* untestedText { nullptr };
    Label* statusLabel { nullptr };
    PelSmoothGrid* grid { nullptr };
    PelButton* nextButton { nullptr };
    PelButton* powerButton { nullptr };
    EditLog* log { nullptr }; // owned
    int itemCount { 0 };
    int runTimer { 0 };

private:
    // The items as the run sequence sees them.
    class Rows final : public quicktest::RunRows {
    public:
        explicit Rows(TDynArray<TestItem*>& items)
            : m_items(items)
        {
        }
        int rowCount() const override;
        quicktest::TestResult rowResult(int row) const override;
        bool rowTested(int row) const override;

    private:
        TDynArray<TestItem*>& m_items;
    };

    // The item of row index, or null outside the list.
    TestItem* itemAt(int index);
    // The grid's selected row (-1 without a grid).
    int selectedRow() const;
    // Restarts the step timer: the row nextIndex runs 50 ms from now.
    void startStepTimer();
    void cancelStepTimer();
    // Message boxes: a two-button question "name" + separator + question
    // (both GBK texts converted) whose buttons send firstCommand and
    // firstCommand + 1, and an information box.
    template <size_t N>
    void askAbout(TestItem* item, const char* separator, const char (&questionGbk)[N], int firstCommand);
    void ask(const char* text, int firstCommand);
    void inform(const char* text);
    // Repaints the grid (and the current-test label) at once.
    void repaintGrid();
    void repaintLabel();
    // The current-test label in colour with "name: word" (word a GBK text).
    void showCurrent(TestItem* item, unsigned short colour, const char* wordGbk, int wordBytes);
    // The current-test label for a stored result (pass or fail; nothing else).
    void showResult(TestItem* item);
    // The run report: row's test has its final result; the run has ended.
    void reportFinished(int row);
    void reportRunEnd();

    Rows m_rows { items };
    quicktest::RunSequence m_run { m_rows };
    quicktest::RunReport m_report;
};
