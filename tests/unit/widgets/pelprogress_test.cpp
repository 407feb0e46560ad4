#include "pelwidget_host.h"

#include "widgets/pelprogresswnd.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using widgettest::kHostBack;
using widgettest::OwnerWnd;
using widgettest::Snapshot;

namespace {

constexpr unsigned int kBarStyle = 0x46; // as the update window creates it
constexpr unsigned short kTrack = 0x5AEB;
constexpr unsigned short kFill = 0x87FF;
const std::string kShortLine = "[PelProgressWnd] ClientRect heigh < 10 \n";

int occurrences(const std::string& text, const std::string& what)
{
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

class PelProgressTest : public lumitest::ToolkitTest {
protected:
    void SetUp() override
    {
        ToolkitTest::SetUp();
        owner = new OwnerWnd;
        ASSERT_EQ(owner->create(screenWidth, screenHeight), 0);
    }

    // A bar as the update window sets it up: range 0 to 100, step 10.
    PelProgressWnd* makeBar(const Rect& rect, unsigned int style = kBarStyle)
    {
        auto* bar = new PelProgressWnd; // a child: deleted with its parent
        EXPECT_EQ(bar->create(owner, rect, style), 0);
        EXPECT_EQ(bar->setRange(0, 100), 0);
        EXPECT_EQ(bar->setStep(10), 0);
        return bar;
    }

    Snapshot shot() const { return Snapshot(screenFile(), screenWidth, screenHeight); }

    // The bar's track: its rectangle less 5 pixels at the top and the bottom.
    static Rect trackOf(const Rect& bar) { return Rect(bar.left, bar.top + 5, bar.right, bar.bottom - 5); }

    const Rect hundred { 100, 200, 200, 224 }; // 100 pixels wide: a pixel a percent
    OwnerWnd* owner { nullptr };
};

TEST(PelProgressDefaults, StartsEmptyOverZeroToHundredWithStepSix)
{
    PelProgressWnd bar;
    int min = -1;
    int max = -1;
    EXPECT_EQ(bar.getRange(min, max), 0);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 100);
    EXPECT_EQ(bar.getStep(), 6);
    EXPECT_EQ(bar.getPos(), 0);
    EXPECT_EQ(bar.barBmp(), nullptr);
    EXPECT_EQ(bar.stepBmp(), nullptr);
}

TEST(PelProgressRange, RangeEndingBeforeItStartsIsIgnored)
{
    PelProgressWnd bar;
    EXPECT_EQ(bar.setRange(50, 10), -1);
    int min = -1;
    int max = -1;
    bar.getRange(min, max);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 100);
}

TEST(PelProgressRange, NegativeRangeIsIgnored)
{
    PelProgressWnd bar;
    EXPECT_EQ(bar.setRange(-1, 10), -1);
    EXPECT_EQ(bar.setRange(-5, -1), -1);
    int min = -1;
    int max = -1;
    bar.getRange(min, max);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 100);
}

TEST(PelProgressRange, ValidRangesAreTakenIncludingAnEmptyOne)
{
    PelProgressWnd bar;
    int min = -1;
    int max = -1;
    EXPECT_EQ(bar.setRange(20, 120), 0);
    bar.getRange(min, max);
    EXPECT_EQ(min, 20);
    EXPECT_EQ(max, 120);
    EXPECT_EQ(bar.setRange(7, 7), 0);
    bar.getRange(min, max);
    EXPECT_EQ(min, 7);
    EXPECT_EQ(max, 7);
}

TEST(PelProgressStep, StepOfTwoOrLessIsIgnored)
{
    PelProgressWnd bar;
    EXPECT_EQ(bar.setStep(2), -1);
    EXPECT_EQ(bar.getStep(), 6);
    EXPECT_EQ(bar.setStep(-4), -1);
    EXPECT_EQ(bar.getStep(), 6);
    EXPECT_EQ(bar.setStep(3), 0);
    EXPECT_EQ(bar.getStep(), 3);
}

TEST(PelProgressPos, PositionIsStoredWithoutARangeCheck)
{
    PelProgressWnd bar;
    EXPECT_EQ(bar.setPos(150), 0);
    EXPECT_EQ(bar.getPos(), 150);
    bar.setPos(-5);
    EXPECT_EQ(bar.getPos(), -5);
}

TEST(PelProgressPictures, NullPicturesAreRefused)
{
    PelProgressWnd bar;
    EXPECT_EQ(bar.setBarBmp(nullptr, true), -1);
    EXPECT_EQ(bar.setStepBmp(nullptr, false), -1);
    EXPECT_EQ(bar.barBmp(), nullptr);
    EXPECT_EQ(bar.stepBmp(), nullptr);
}

TEST(PelProgressPictures, PicturesAreKeptAndOwnedOnesFreedWithTheBar)
{
    Bitmap shared; // not owned: outlives the bar
    ASSERT_EQ(shared.create(4, 4), 0);
    {
        PelProgressWnd bar;
        auto* owned = new Bitmap;
        ASSERT_EQ(owned->create(8, 8), 0);
        EXPECT_EQ(bar.setBarBmp(owned, true), 0);
        EXPECT_EQ(bar.setStepBmp(&shared, false), 0);
        EXPECT_EQ(bar.barBmp(), owned);
        EXPECT_EQ(bar.stepBmp(), &shared);
        // owned is deleted with the bar (the sanitizer build reports a leak otherwise)
    }
    EXPECT_EQ(shared.width(), 4);
}

TEST_F(PelProgressTest, AtZeroPercentOnlyTheTrackShows)
{
    PelProgressWnd* bar = makeBar(hundred);
    bar->setPos(0);
    settle();
    const Snapshot s = shot();
    const Rect track = trackOf(hundred);
    EXPECT_EQ(s.countColour(track, kTrack), track.width() * track.height());
    EXPECT_EQ(s.countColour(hundred, kFill), 0);
    // Above and below the track the parent's background shows through.
    EXPECT_EQ(s.countColour(Rect(100, 200, 200, 205), kHostBack), 100 * 5);
    EXPECT_EQ(s.countColour(Rect(100, 219, 200, 224), kHostBack), 100 * 5);
}

TEST_F(PelProgressTest, UpToTheStepWidthOnlyTheTrackShows)
{
    // Ten percent of a 100-pixel bar is 10 pixels: not more than the step.
    PelProgressWnd* bar = makeBar(hundred);
    bar->setPos(10);
    settle();
    const Rect track = trackOf(hundred);
    EXPECT_EQ(shot().countColour(track, kTrack), track.width() * track.height());
    EXPECT_EQ(shot().countColour(hundred, kFill), 0);

    bar->setPos(11);
    settle();
    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(track, kFill), 11 * track.height());
    EXPECT_EQ(s.at(110, 210), kFill);
    EXPECT_EQ(s.at(111, 210), kTrack);
}

TEST_F(PelProgressTest, AtFiftyPercentTheFilledPartEndsInTheMiddle)
{
    const Rect wide(100, 300, 500, 324);
    PelProgressWnd* bar = makeBar(wide);
    bar->setPos(50);
    settle();
    const Snapshot s = shot();
    const Rect track = trackOf(wide);
    EXPECT_EQ(s.countColour(track, kFill), 200 * track.height());
    EXPECT_EQ(s.countColour(track, kTrack), 200 * track.height());
    EXPECT_EQ(s.at(299, 305), kFill);
    EXPECT_EQ(s.at(300, 305), kTrack);
    EXPECT_EQ(s.at(299, 318), kFill);
    EXPECT_EQ(s.at(299, 319), kHostBack) << "the fill keeps to the track's height";
    EXPECT_EQ(s.at(100, 304), kHostBack);
}

TEST_F(PelProgressTest, AtHundredFiftyPercentOnlyTheTrackShows)
{
    PelProgressWnd* bar = makeBar(hundred);
    bar->setPos(100);
    settle();
    const Rect track = trackOf(hundred);
    EXPECT_EQ(shot().countColour(track, kFill), track.width() * track.height());

    bar->setPos(150);
    settle();
    EXPECT_EQ(shot().countColour(track, kTrack), track.width() * track.height());
    EXPECT_EQ(shot().countColour(hundred, kFill), 0);
}

TEST_F(PelProgressTest, NegativePositionShowsOnlyTheTrack)
{
    PelProgressWnd* bar = makeBar(hundred);
    bar->setPos(-5);
    settle();
    const Rect track = trackOf(hundred);
    EXPECT_EQ(shot().countColour(track, kTrack), track.width() * track.height());
}

TEST_F(PelProgressTest, PositionIsNotReducedByTheRangeStart)
{
    PelProgressWnd* bar = makeBar(hundred);
    ASSERT_EQ(bar->setRange(20, 120), 0);
    bar->setPos(60);
    settle();
    const Snapshot s = shot();
    // 60 * 100 / (120 - 20) = 60 pixels, not (60 - 20) * 100 / 100 = 40.
    EXPECT_EQ(s.at(159, 210), kFill);
    EXPECT_EQ(s.at(160, 210), kTrack);

    bar->setPos(10); // below the range start
    settle();
    EXPECT_EQ(shot().countColour(hundred, kFill), 0);
}

TEST_F(PelProgressTest, EmptyRangeShowsOnlyTheTrack)
{
    PelProgressWnd* bar = makeBar(hundred);
    ASSERT_EQ(bar->setRange(30, 30), 0);
    bar->setPos(30);
    settle();
    const Rect track = trackOf(hundred);
    EXPECT_EQ(shot().countColour(track, kTrack), track.width() * track.height());
}

TEST_F(PelProgressTest, StepDecidesWhenTheFillAppears)
{
    PelProgressWnd* bar = makeBar(hundred);
    ASSERT_EQ(bar->setStep(3), 0);
    bar->setPos(3);
    settle();
    EXPECT_EQ(shot().countColour(hundred, kFill), 0);
    bar->setPos(4);
    settle();
    EXPECT_EQ(shot().countColour(hundred, kFill), 4 * 14);
}

TEST_F(PelProgressTest, ShortBarPrintsTheWarningOncePerPaint)
{
    PelProgressWnd* bar = makeBar(Rect(100, 200, 300, 208));
    testing::internal::CaptureStdout();
    settle();
    std::fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(occurrences(out, kShortLine), 1) << out;

    testing::internal::CaptureStdout();
    bar->invalidateRect(nullptr);
    settle();
    bar->setPos(50);
    settle();
    std::fflush(stdout);
    out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(occurrences(out, kShortLine), 2) << out;
}

TEST_F(PelProgressTest, NineAndTenPixelBarsSitOnEitherSideOfTheWarning)
{
    makeBar(Rect(100, 200, 300, 209));
    makeBar(Rect(100, 250, 300, 260));
    testing::internal::CaptureStdout();
    settle();
    std::fflush(stdout);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(occurrences(out, kShortLine), 1) << "only the 9-pixel bar warns: " << out;
}

TEST_F(PelProgressTest, ShortBarStillFinishesItsPaint)
{
    // An opaque short bar: after the warning the off-screen picture, on which
    // nothing was drawn, is still copied over the bar.
    const Rect shortBar(100, 200, 300, 208);
    makeBar(shortBar, 6);
    testing::internal::CaptureStdout();
    settle();
    std::fflush(stdout);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(occurrences(out, kShortLine), 1);
    EXPECT_EQ(shot().countColour(shortBar, 0x0000), shortBar.width() * shortBar.height());
}

TEST_F(PelProgressTest, TransparentBarTakesItsBackgroundFromTheParent)
{
    owner->childBackground = true;
    PelProgressWnd* bar = makeBar(hundred);
    bar->setPos(50);
    settle();
    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(Rect(100, 200, 200, 205), owner->childBackgroundColour), 100 * 5);
    EXPECT_EQ(s.countColour(Rect(100, 219, 200, 224), owner->childBackgroundColour), 100 * 5);
}

TEST_F(PelProgressTest, WithBothPicturesNothingIsDrawnOverTheBackground)
{
    PelProgressWnd* bar = makeBar(hundred);
    auto* barBmp = new Bitmap;
    auto* stepBmp = new Bitmap;
    ASSERT_EQ(barBmp->create(100, 24), 0);
    ASSERT_EQ(stepBmp->create(10, 24), 0);
    bar->setPos(50);
    ASSERT_EQ(bar->setBarBmp(barBmp, true), 0);
    settle();
    EXPECT_EQ(shot().countColour(hundred, kFill), 50 * 14) << "one picture alone changes nothing";

    ASSERT_EQ(bar->setStepBmp(stepBmp, true), 0);
    settle();
    const Snapshot s = shot();
    EXPECT_EQ(s.countColour(hundred, kHostBack), 100 * 24);
    EXPECT_EQ(s.countColour(hundred, kTrack), 0);
    EXPECT_EQ(s.countColour(hundred, kFill), 0);
}

// What a bar shows, drawn from scratch: the rows above and below the track in
// background, the track from the left in kFill up to pos * width / range
// when that is more than the step and pos lies in the range, kTrack beyond.
struct BarModel {
    int min { 0 };
    int max { 100 };
    int step { 10 };
    int pos { 0 };
    bool pictures { false }; // both pictures set: nothing drawn over the background
    unsigned short background { kHostBack };

    unsigned short at(const Rect& bar, int x, int y) const
    {
        const int top = bar.top + 5;
        const int bottom = bar.bottom - 5;
        if (pictures || y < top || y >= bottom)
            return background;
        int filled = 0;
        if (min <= pos && pos <= max && max > min) {
            filled = static_cast<int>(static_cast<long long>(pos) * bar.width() / (max - min));
            if (filled <= step)
                filled = 0;
        }
        return x - bar.left < filled ? kFill : kTrack;
    }
};

// Pixels of rect on the screen that differ from the model, with the first one.
int mismatches(const Snapshot& s, const Rect& rect, const BarModel& model, std::string& first)
{
    int n = 0;
    for (int y = rect.top; y < rect.bottom; ++y) {
        for (int x = rect.left; x < rect.right; ++x) {
            const unsigned short want = model.at(rect, x, y);
            if (s.at(x, y) != want) {
                if (n++ == 0)
                    first = "(" + std::to_string(x) + "," + std::to_string(y) + ") is "
                        + std::to_string(s.at(x, y)) + ", drawn afresh " + std::to_string(want);
            }
        }
    }
    return n;
}

TEST_F(PelProgressTest, KeptPictureShowsWhatAFreshDrawingShowsOverEveryValue)
{
    // One bar stepped through the values, against the model and against a
    // bar created for each value (whose first paint has no picture to keep).
    const Rect kept(100, 200, 237, 224); // 137 pixels: widths that round down
    const Rect fresh(300, 200, 437, 224);
    PelProgressWnd* bar = makeBar(kept);
    BarModel model;
    std::string first;
    for (int pos = -3; pos <= 103; ++pos) {
        bar->setPos(pos);
        PelProgressWnd* other = makeBar(fresh);
        other->setPos(pos);
        settle();
        model.pos = pos;
        const Snapshot s = shot();
        ASSERT_EQ(mismatches(s, kept, model, first), 0) << "at " << pos << ": " << first;
        ASSERT_EQ(mismatches(s, fresh, model, first), 0) << "fresh, at " << pos << ": " << first;
        other->destroy();
        settle();
    }
    // Back down, and with another range and step.
    ASSERT_EQ(bar->setRange(0, 50), 0);
    ASSERT_EQ(bar->setStep(3), 0);
    model.max = 50;
    model.step = 3;
    for (int pos = 60; pos >= -1; pos -= 7) {
        bar->setPos(pos);
        settle();
        model.pos = pos;
        ASSERT_EQ(mismatches(shot(), kept, model, first), 0) << "range 0-50, at " << pos << ": " << first;
    }
    // A range that does not start at 0: the fill can reach past the bar's end.
    ASSERT_EQ(bar->setRange(20, 120), 0);
    model.min = 20;
    model.max = 120;
    for (int pos : { 120, 60, 119, 20, 100, 19, 121, 120 }) {
        bar->setPos(pos);
        settle();
        model.pos = pos;
        ASSERT_EQ(mismatches(shot(), kept, model, first), 0) << "range 20-120, at " << pos << ": " << first;
    }
}

TEST_F(PelProgressTest, KeptPictureFollowsAResizeAndTheParentsBackground)
{
    PelProgressWnd* bar = makeBar(hundred);
    bar->setPos(40);
    settle();
    BarModel model;
    model.pos = 40;
    std::string first;
    ASSERT_EQ(mismatches(shot(), hundred, model, first), 0) << first;

    // Wider and taller: the fill is 40% of the new width, the track keeps
    // 5-pixel rows above and below.
    const Rect moved(120, 260, 370, 300);
    bar->moveWindow(moved);
    settle();
    EXPECT_EQ(mismatches(shot(), moved, model, first), 0) << first;
    EXPECT_EQ(shot().countColour(moved, kFill), 100 * 30);

    // The parent now serves its children another background; the bar's
    // value is unchanged, so only the background differs.
    owner->childBackground = true;
    bar->invalidateRect(nullptr);
    settle();
    model.background = owner->childBackgroundColour;
    EXPECT_EQ(mismatches(shot(), moved, model, first), 0) << first;
    owner->childBackgroundColour = 0x001F;
    bar->invalidateRect(nullptr);
    settle();
    model.background = 0x001F;
    EXPECT_EQ(mismatches(shot(), moved, model, first), 0) << first;

    // Both pictures set: nothing but the background.
    auto* barBmp = new Bitmap;
    auto* stepBmp = new Bitmap;
    ASSERT_EQ(barBmp->create(10, 10), 0);
    ASSERT_EQ(stepBmp->create(10, 10), 0);
    ASSERT_EQ(bar->setBarBmp(barBmp, true), 0);
    ASSERT_EQ(bar->setStepBmp(stepBmp, true), 0);
    settle();
    model.pictures = true;
    EXPECT_EQ(mismatches(shot(), moved, model, first), 0) << first;

    // Smaller again, with the pictures still set.
    bar->moveWindow(hundred);
    settle();
    EXPECT_EQ(mismatches(shot(), hundred, model, first), 0) << first;
    EXPECT_EQ(shot().countColour(moved, 0x001F) + shot().countColour(moved, kHostBack),
        moved.width() * moved.height());
}

// Over a parent that paints itself red, an opaque bar shows black above and
// below its track, as drawn into a fresh off-screen picture, and a
// transparent one the background its parent serves it.
TEST_F(PelProgressTest, KeptPictureKeepsTheBlackRowsOfAnOpaqueBar)
{
    owner->paintOver = true;
    owner->childBackground = false;
    const Rect opaque(100, 300, 200, 324);
    PelProgressWnd* clear = makeBar(hundred);
    PelProgressWnd* solid = makeBar(opaque, 6);
    BarModel model;
    std::string first;
    for (int pos : { 0, 30, 30, 70, 100 }) {
        clear->setPos(pos);
        solid->setPos(pos);
        settle();
        model.pos = pos;
        model.background = kHostBack; // the owner's own colour, served to its transparent child
        EXPECT_EQ(mismatches(shot(), hundred, model, first), 0) << pos << ": " << first;
        model.background = 0x0000;
        EXPECT_EQ(mismatches(shot(), opaque, model, first), 0) << pos << ": " << first;
    }
}

}
