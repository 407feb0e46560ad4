#include "lumi_test.h"

#include <string>
#include <vector>

namespace {

constexpr unsigned short kRed = 0xF800;
constexpr unsigned short kGreen = 0x07E0;
constexpr unsigned short kBlue = 0x001F;
constexpr unsigned short kGrey = 0x8410;

// A main window painted in one colour, remembering what reached it.
class Panel : public MainWndBase {
public:
    explicit Panel(unsigned short colour = kBlue) : m_colour(colour) { }
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override
    {
        dc->fillRect(*rect, child == this ? m_colour : m_childBackground);
        return 0;
    }
    int onKeydown(int key, int state) override
    {
        keys.push_back(key);
        return MainWndBase::onKeydown(key, state);
    }
    int onKeyUp(int key, int) override
    {
        keysUp.push_back(key);
        return 0;
    }
    int onNotify(WndBase* from, int code, int param) override
    {
        notes.push_back({ from, code, param });
        return 0;
    }
    int onActivate(bool active) override
    {
        activations.push_back(active);
        return 0;
    }
    struct Note {
        WndBase* from;
        int code;
        int param;
    };
    std::vector<int> keys;
    std::vector<int> keysUp;
    std::vector<Note> notes;
    std::vector<bool> activations;
    unsigned short m_colour;
    unsigned short m_childBackground { kGrey };
};

// A child control that fills itself and records its events.
class Box : public WndBase {
public:
    explicit Box(unsigned short colour = kRed) : m_colour(colour) { }
    int onPaint() override
    {
        ++paints;
        PaintDC dc(this);
        Rect r;
        getClientRect(r);
        if (!isStyle(WS_TRANSPARENT))
            dc.fillRect(r, m_colour);
        return 0;
    }
    int onKeydown(int key, int state) override
    {
        keys.push_back(key);
        if (key == 'x')
            return 0;   // consumed
        return WndBase::onKeydown(key, state);
    }
    int onMouseEvent(int x, int y, unsigned int flags) override
    {
        pointer.push_back({ x, y, flags });
        return WndBase::onMouseEvent(x, y, flags);
    }
    int onFocus(bool focused) override
    {
        focusChanges.push_back(focused);
        return 0;
    }
    int onMouseStatusChanged() override
    {
        statusChanges.push_back(isStatus(WS_PRESSED));
        return 0;
    }
    int onChar(short ch) override
    {
        chars.push_back(ch);
        return 0;
    }
    int onCommand(LUMIMessage& msg) override
    {
        commands.push_back(msg.param1);
        return 0;
    }
    struct Event {
        int x, y;
        unsigned int flags;
    };
    unsigned short m_colour;
    int paints { 0 };
    std::vector<int> keys;
    std::vector<Event> pointer;
    std::vector<bool> focusChanges;
    std::vector<bool> statusChanges;
    std::vector<short> chars;
    std::vector<int> commands;
};

class Unfocusable : public Box {
public:
    Unfocusable() { setAcceptFocus(false); }
};

class WindowTest : public lumitest::ToolkitTest {
protected:
    Panel* makePanel(const Rect& r = Rect(0, 0, 800, 480), unsigned short colour = kBlue, int id = 101)
    {
        auto* p = new Panel(colour);
        EXPECT_EQ(p->create(r, 0x47, id), 0);
        return p;
    }
    template <class T = Box>
    T* makeChild(WndBase* parent, const Rect& r, unsigned int style = 0x06)
    {
        auto* b = new T;
        EXPECT_EQ(b->create(parent, r, style), 0);
        return b;
    }
    // Focuses w, then disables it: it must lose the focus and be told so.
    static void focusThenDisable(Box* w)
    {
        w->setFocus();
        w->setStyle(WS_DISABLED);
        EXPECT_FALSE(w->hasFocus());
        EXPECT_EQ(w->focusChanges, (std::vector<bool> { true, false }));
    }
};

}

TEST_F(WindowTest, ChildCreationNeedsACreatedParent)
{
    Box orphan;
    EXPECT_EQ(orphan.create(nullptr, Rect(0, 0, 10, 10), 6), -1);
    Panel notCreated;
    EXPECT_EQ(orphan.create(&notCreated, Rect(0, 0, 10, 10), 6), -1);
    EXPECT_FALSE(orphan.isCreated());
}

TEST_F(WindowTest, InvalidatedWindowIsPaintedWhenTheQueueIsEmpty)
{
    Panel* p = makePanel();
    settle();
    EXPECT_EQ(shownPixel(10, 10), kBlue);
    Box* b = makeChild(p, Rect(100, 100, 200, 150));
    EXPECT_EQ(shownPixel(150, 120), kBlue);   // not yet
    settle();
    EXPECT_EQ(shownPixel(150, 120), kRed);
    EXPECT_EQ(shownPixel(99, 120), kBlue);
    EXPECT_EQ(shownPixel(200, 120), kBlue);   // right edge is exclusive
    EXPECT_EQ(shownPixel(150, 149), kRed);
    EXPECT_EQ(shownPixel(150, 150), kBlue);
    EXPECT_GE(b->paints, 1);
}

TEST_F(WindowTest, UpdateWindowPaintsAndShowsAtOnce)
{
    Panel* p = makePanel();
    settle();
    Box* b = makeChild(p, Rect(10, 10, 60, 60));
    b->updateWindow();
    EXPECT_EQ(shownPixel(20, 20), kRed);
    b->m_colour = kGreen;
    b->invalidateRect(nullptr);
    b->updateWindow();
    EXPECT_EQ(shownPixel(20, 20), kGreen);
}

TEST_F(WindowTest, ChildIsClippedToItsParent)
{
    Panel* p = makePanel();
    Box* outer = makeChild(p, Rect(100, 100, 200, 200), 0x06);
    outer->m_colour = kGreen;
    makeChild(outer, Rect(50, 50, 150, 150));   // half outside its parent
    settle();
    EXPECT_EQ(shownPixel(160, 160), kRed);      // inside both
    EXPECT_EQ(shownPixel(210, 210), kBlue);     // outside the parent: the panel
    EXPECT_EQ(shownPixel(120, 120), kGreen);
}

TEST_F(WindowTest, TransparentChildShowsTheBackgroundItsParentPaintsForIt)
{
    Panel* p = makePanel();
    p->m_childBackground = kGrey;
    makeChild(p, Rect(300, 300, 340, 340), 0x46);
    settle();
    EXPECT_EQ(shownPixel(310, 310), kGrey);
    EXPECT_EQ(shownPixel(290, 310), kBlue);
}

TEST_F(WindowTest, NewestMainWindowIsOnTopUntilDestroyed)
{
    makePanel(Rect(0, 0, 800, 480), kBlue, 101);
    Panel* box = makePanel(Rect(250, 155, 550, 325), kGreen, 0);
    settle();
    EXPECT_EQ(shownPixel(400, 200), kGreen);
    EXPECT_EQ(app->getTopWnd(), box);
    box->destroy();
    settle();
    EXPECT_EQ(shownPixel(400, 200), kBlue);
    EXPECT_EQ(app->getTopWnd()->getId(), 101);
}

TEST_F(WindowTest, HiddenChildUncoversItsParent)
{
    Panel* p = makePanel();
    Box* b = makeChild(p, Rect(10, 10, 50, 50));
    settle();
    EXPECT_EQ(shownPixel(20, 20), kRed);
    b->showWindow(false);
    settle();
    EXPECT_EQ(shownPixel(20, 20), kBlue);
    b->showWindow(true);
    settle();
    EXPECT_EQ(shownPixel(20, 20), kRed);
}

TEST_F(WindowTest, WindowsAreFoundByTheirId)
{
    Panel* a = makePanel(Rect(0, 0, 800, 480), kBlue, 101);
    Panel* b = makePanel(Rect(0, 0, 100, 100), kGreen, 103);
    EXPECT_EQ(app->getWndById(101), a);
    EXPECT_EQ(app->getWndById(103), b);
    EXPECT_EQ(app->getWndById(7), nullptr);
    b->destroy();
    EXPECT_EQ(app->getWndById(103), nullptr);
}

TEST_F(WindowTest, TopWindowChangesAreReportedAsActivation)
{
    Panel* a = makePanel();
    EXPECT_EQ(a->activations, (std::vector<bool> { true }));
    Panel* b = makePanel(Rect(0, 0, 100, 100), kGreen, 0);
    EXPECT_EQ(a->activations, (std::vector<bool> { true, false }));
    EXPECT_EQ(b->activations, (std::vector<bool> { true }));
    b->destroy();
    EXPECT_EQ(a->activations, (std::vector<bool> { true, false, true }));
}

namespace {
class SelfDestroying : public MainWndBase {
public:
    explicit SelfDestroying(bool* deleted) : m_deleted(deleted) { }
    ~SelfDestroying() override { *m_deleted = true; }
    int onCommand(LUMIMessage&) override
    {
        destroy();
        // Still alive: deletion waits until this handler has returned.
        stillAliveAfterDestroy = !*m_deleted;
        *m_seen = stillAliveAfterDestroy;
        return 0;
    }
    bool* m_deleted;
    bool* m_seen { nullptr };
    bool stillAliveAfterDestroy { false };
};
}

TEST_F(WindowTest, WindowDestroyingItselfInItsHandlerIsDeletedAfterTheHandler)
{
    bool deleted = false;
    bool aliveInHandler = false;
    auto* w = new SelfDestroying(&deleted);
    w->m_seen = &aliveInHandler;
    ASSERT_EQ(w->create(Rect(0, 0, 100, 100), 0x47, 55), 0);
    app->addMsg(LUMIMessage(w, MSG_COMMAND, 1));
    settle();
    EXPECT_TRUE(aliveInHandler);
    EXPECT_TRUE(deleted);
    EXPECT_EQ(app->getWndById(55), nullptr);
}

TEST_F(WindowTest, MessagesForADestroyedWindowAreDropped)
{
    Panel* p = makePanel();
    Box* b = makeChild(p, Rect(0, 0, 10, 10));
    LUMIMessage key(b, MSG_KEY, 'a', 0);
    app->addMsg(key);
    b->destroy();
    settle();   // would use a deleted window if the message were kept
    EXPECT_TRUE(p->keys.empty());
}

TEST_F(WindowTest, ChildrenAreDestroyedAndDeletedWithTheirParent)
{
    static int destroyed = 0;
    destroyed = 0;
    struct Counted : Box {
        int onDestroy() override
        {
            ++destroyed;
            return 0;
        }
    };
    Panel* p = makePanel();
    auto* a = makeChild<Counted>(p, Rect(0, 0, 10, 10));
    makeChild<Counted>(a, Rect(0, 0, 5, 5));
    p->destroy();
    settle();
    EXPECT_EQ(destroyed, 2);
}

TEST_F(WindowTest, KeysGoToTheFocusedWindowOfTheTopWindow)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 50, 50));
    a->setFocus();
    EXPECT_TRUE(a->hasFocus());
    rt->deliverKeyEvent('x', 0);
    rt->deliverKeyEvent('x', 1);
    settle();
    EXPECT_EQ(a->keys, (std::vector<int> { 'x' }));
    EXPECT_TRUE(p->keys.empty());
}

TEST_F(WindowTest, KeyUpReachesOnKeyUp)
{
    Panel* p = makePanel();
    rt->deliverKeyEvent(VK_Menu, 1);
    settle();
    EXPECT_EQ(p->keysUp, (std::vector<int> { VK_Menu }));
    EXPECT_TRUE(p->keys.empty());
}

TEST_F(WindowTest, UnconsumedKeysBubbleToTheParent)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 50, 50));
    a->setFocus();
    rt->deliverKeyEvent(VK_Escape, 0);
    settle();
    EXPECT_EQ(a->keys, (std::vector<int> { VK_Escape }));
    EXPECT_EQ(p->keys, (std::vector<int> { VK_Escape }));
}

TEST_F(WindowTest, DirectionKeysMoveTheFocusToTheNeighbourInThatDirection)
{
    Panel* p = makePanel();
    Box* left = makeChild(p, Rect(0, 100, 100, 140));
    Box* right = makeChild(p, Rect(200, 100, 300, 140));
    Box* below = makeChild(p, Rect(0, 300, 100, 340));
    left->setFocus();
    rt->deliverKeyEvent(VK_Right, 0);
    settle();
    EXPECT_TRUE(right->hasFocus());
    EXPECT_FALSE(left->hasFocus());
    EXPECT_EQ(left->focusChanges, (std::vector<bool> { true, false }));
    rt->deliverKeyEvent(VK_Left, 0);
    rt->deliverKeyEvent(VK_Down, 0);
    settle();
    EXPECT_TRUE(below->hasFocus());
    EXPECT_TRUE(p->keys.empty());   // every move was consumed by the focus change
}

TEST_F(WindowTest, DirectionKeyWithoutANeighbourGoesToTheParent)
{
    Panel* p = makePanel();
    Box* only = makeChild(p, Rect(0, 0, 50, 50));
    only->setFocus();
    rt->deliverKeyEvent(VK_Up, 0);
    settle();
    EXPECT_TRUE(only->hasFocus());
    EXPECT_EQ(p->keys, (std::vector<int> { VK_Up }));
}

TEST_F(WindowTest, TabSkipsWindowsThatTakeNoFocusAndWraps)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 10, 10));
    makeChild<Unfocusable>(p, Rect(20, 0, 30, 10));
    Box* c = makeChild(p, Rect(40, 0, 50, 10));
    Box* hidden = makeChild(p, Rect(60, 0, 70, 10));
    hidden->showWindow(false);
    a->setFocus();
    rt->deliverKeyEvent(VK_Tab, 0);
    settle();
    EXPECT_TRUE(c->hasFocus());
    rt->deliverKeyEvent(VK_Tab, 0);
    settle();
    EXPECT_TRUE(a->hasFocus());
}

TEST_F(WindowTest, MainWindowWithoutFocusHandsItToTheFirstControlOnAMoveKey)
{
    Panel* p = makePanel();
    makeChild<Unfocusable>(p, Rect(20, 0, 30, 10));
    Box* first = makeChild(p, Rect(40, 0, 50, 10));
    rt->deliverKeyEvent(VK_Down, 0);
    settle();
    EXPECT_TRUE(first->hasFocus());
}

TEST_F(WindowTest, PointerEventsGoToThePressedWindowInClientCoordinates)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(100, 100, 200, 200));
    Box* b = makeChild(p, Rect(300, 100, 400, 200));
    press(110, 120);
    move(150, 150);
    move(350, 150);   // over b, still captured by a
    release(350, 150);
    settle();
    ASSERT_EQ(a->pointer.size(), 4u);
    EXPECT_EQ(a->pointer[0].flags, MOUSE_PRESS);
    EXPECT_EQ(a->pointer[0].x, 10);
    EXPECT_EQ(a->pointer[0].y, 20);
    EXPECT_EQ(a->pointer[1].flags, MOUSE_MOVE);
    EXPECT_EQ(a->pointer[2].x, 250);
    EXPECT_EQ(a->pointer[3].flags, MOUSE_RELEASE);
    EXPECT_TRUE(b->pointer.empty());
}

TEST_F(WindowTest, PointerSamplesBecomePressMoveAndReleaseOnlyOnChanges)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 400, 400));
    press(10, 10);
    press(10, 10);   // held, not moved: nothing
    move(20, 10);
    release(20, 10);
    release(30, 10);   // released and moving: a hover, nothing
    settle();
    ASSERT_EQ(a->pointer.size(), 3u);
    EXPECT_EQ(a->pointer[0].flags, MOUSE_PRESS);
    EXPECT_EQ(a->pointer[1].flags, MOUSE_MOVE);
    EXPECT_EQ(a->pointer[2].flags, MOUSE_RELEASE);
}

TEST_F(WindowTest, PressSetsThePressedStatusAndReleaseInsideNotifiesAClick)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(100, 100, 200, 200));
    press(150, 150);
    settle();
    EXPECT_TRUE(a->isStatus(WS_PRESSED));
    EXPECT_TRUE(a->isStatus(0x10));
    EXPECT_TRUE(a->isStatus(0x20));
    EXPECT_TRUE(a->hasFocus());
    release(150, 150);
    settle();
    EXPECT_FALSE(a->isStatus(0x10));
    EXPECT_EQ(a->statusChanges, (std::vector<bool> { true, false }));
    ASSERT_EQ(p->notes.size(), 1u);
    EXPECT_EQ(p->notes[0].from, a);
    EXPECT_EQ(p->notes[0].code, NOTIFY_CLICKED);
}

TEST_F(WindowTest, ReleaseOutsideThePressedWindowIsNoClick)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(100, 100, 200, 200));
    press(150, 150);
    move(250, 150);
    settle();
    EXPECT_FALSE(a->isStatus(WS_PRESSED));   // the pressed look follows the finger
    release(250, 150);
    settle();
    EXPECT_TRUE(p->notes.empty());
}

TEST_F(WindowTest, DisabledWindowIgnoresThePointer)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(100, 100, 200, 200), 0x06 | WS_DISABLED);
    press(150, 150);
    release(150, 150);
    settle();
    EXPECT_FALSE(a->hasFocus());
    EXPECT_TRUE(p->notes.empty());
}

TEST_F(WindowTest, DisabledWindowGetsNoKeysNorCharactersEvenWhenAddressed)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 50, 50), 0x06 | WS_DISABLED);
    post(a, MSG_KEY, 'x', 0);
    post(a, MSG_KEY, 'x', 1);
    post(a, MSG_CHAR, 'y');
    EXPECT_EQ(deliverNow(a, MSG_MOUSE, 5, MOUSE_PRESS), 0);
    EXPECT_TRUE(a->keys.empty());
    EXPECT_TRUE(a->chars.empty());
    EXPECT_TRUE(a->pointer.empty());
    EXPECT_TRUE(p->keys.empty()) << "dropped, not passed on";

    a->unsetStyle(WS_DISABLED);
    post(a, MSG_KEY, 'x', 0);
    post(a, MSG_CHAR, 'y');
    EXPECT_EQ(a->keys, (std::vector<int> { 'x' }));
    EXPECT_EQ(a->chars, (std::vector<short> { 'y' }));
}

TEST_F(WindowTest, DisabledWindowStillGetsMessagesThatAreNotInput)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 50, 50), 0x06 | WS_DISABLED);
    sendCommand(a, 112);
    EXPECT_EQ(a->commands, (std::vector<int> { 112 }));
}

TEST_F(WindowTest, ChildrenOfADisabledWindowGetNoInputAndNoFocus)
{
    Panel* p = makePanel();
    Box* group = makeChild(p, Rect(100, 100, 300, 300));
    Box* inner = makeChild(group, Rect(10, 10, 60, 60));
    group->setStyle(WS_DISABLED);
    EXPECT_FALSE(inner->isEnabled());
    EXPECT_FALSE(inner->acceptsFocus());
    inner->setFocus();
    EXPECT_FALSE(inner->hasFocus());
    tap(120, 120);
    post(inner, MSG_CHAR, 'y');
    EXPECT_TRUE(inner->pointer.empty());
    EXPECT_TRUE(inner->chars.empty());
    EXPECT_TRUE(p->notes.empty());
}

TEST_F(WindowTest, DisablingTheFocusedWindowMovesTheFocusToTheNextSibling)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 10, 10));
    Box* b = makeChild(p, Rect(20, 0, 30, 10));
    Box* c = makeChild(p, Rect(40, 0, 50, 10));
    focusThenDisable(b);
    EXPECT_TRUE(c->hasFocus());
    EXPECT_EQ(p->getFocusWnd(), c);
    tapKey('k');
    EXPECT_TRUE(b->keys.empty());
    EXPECT_EQ(c->keys, (std::vector<int> { 'k' }));

    // After the last one the search wraps to the first.
    c->setStyle(WS_DISABLED);
    EXPECT_TRUE(a->hasFocus());
}

TEST_F(WindowTest, DisablingTheOnlyFocusableWindowLeavesNoFocus)
{
    Panel* p = makePanel();
    Box* only = makeChild(p, Rect(0, 0, 10, 10));
    makeChild<Unfocusable>(p, Rect(20, 0, 30, 10));
    focusThenDisable(only);
    EXPECT_EQ(p->getFocusWnd(), nullptr);
    tapKey('k');
    EXPECT_TRUE(only->keys.empty());
    EXPECT_EQ(p->keys, (std::vector<int> { 'k' })) << "keys go to the top window itself";
}

TEST_F(WindowTest, DisablingAParentOfTheFocusedWindowHandsTheFocusToTheParentsSibling)
{
    Panel* p = makePanel();
    // A group box holding the focused control, and a control beside the group.
    Box* group = makeChild(p, Rect(0, 0, 100, 100));
    auto* inner = makeChild<Box>(group, Rect(10, 10, 20, 20));
    auto* next = makeChild<Box>(p, Rect(200, 0, 300, 100));
    inner->setFocus();
    group->setStyle(WS_DISABLED);
    EXPECT_FALSE(inner->hasFocus());
    EXPECT_TRUE(next->hasFocus());
}

TEST_F(WindowTest, DisablingAWindowThatIsNotFocusedLeavesTheFocusAlone)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 10, 10));
    Box* b = makeChild(p, Rect(20, 0, 30, 10));
    a->setFocus();
    b->setStyle(WS_DISABLED);
    EXPECT_TRUE(a->hasFocus());
    EXPECT_EQ(a->focusChanges, (std::vector<bool> { true }));
}

TEST_F(WindowTest, DisablingAPressedWindowLetsGoOfThePointerWithoutAClick)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(100, 100, 200, 200));
    press(150, 150);
    ASSERT_TRUE(a->isStatus(WS_PRESSED));
    a->setStyle(WS_DISABLED);
    EXPECT_FALSE(a->isStatus(WS_PRESSED));
    EXPECT_EQ(a->statusChanges, (std::vector<bool> { true, false }));
    release(150, 150);
    EXPECT_EQ(a->pointer.size(), 1u) << "only the press reached it";
    EXPECT_TRUE(p->notes.empty());
}

TEST_F(WindowTest, PostedNotifyArrivesLaterAndSentNotifyAtOnce)
{
    Panel* p = makePanel();
    Box* a = makeChild(p, Rect(0, 0, 10, 10));
    a->postNotifyMsg(7, 70);
    EXPECT_TRUE(p->notes.empty());
    a->sendNotifyMsg(8, 80);
    ASSERT_EQ(p->notes.size(), 1u);
    EXPECT_EQ(p->notes[0].code, 8);
    settle();
    ASSERT_EQ(p->notes.size(), 2u);
    EXPECT_EQ(p->notes[1].code, 7);
    EXPECT_EQ(p->notes[1].param, 70);
    EXPECT_EQ(p->notes[1].from, a);
}

TEST_F(WindowTest, GeometryConversionsFollowTheParentChain)
{
    Panel* p = makePanel(Rect(10, 20, 410, 320));
    Box* a = makeChild(p, Rect(100, 50, 200, 150));
    Rect r;
    a->getClientRect(r);
    EXPECT_EQ(r, Rect(0, 0, 100, 100));
    r = Rect(0, 0, 5, 5);
    a->clientToScreen(r);
    EXPECT_EQ(r, Rect(110, 70, 115, 75));
    r = Rect(112, 58, 188, 142);   // a work region in the parent's client coordinates
    a->wndToClient(r);
    EXPECT_EQ(r, Rect(12, 8, 88, 92));
}

TEST_F(WindowTest, DisplayReportsTheScreenSize)
{
    EXPECT_EQ(Display::getParam(0), 800);
    EXPECT_EQ(Display::getParam(1), 480);
    EXPECT_EQ(Display::getParam(9), -1);
}

namespace {
class CountingPanel : public Panel {
public:
    int paints { 0 };
    int onPaint() override
    {
        ++paints;
        return 0;
    }
};
class OpaqueBox : public Box {
public:
    int erases { 0 };
    int onDrawBackground(DC* dc, const Rect* rect, WndBase* child) override
    {
        ++erases;
        return Box::onDrawBackground(dc, rect, child);
    }
};
}

TEST_F(WindowTest, AnOpaquePaintingChildIsNeitherErasedNorPaintedUnder)
{
    auto* p = new CountingPanel;
    ASSERT_EQ(p->create(Rect(0, 0, 800, 480), 0x47, 101), 0);
    auto* b = makeChild<OpaqueBox>(p, Rect(100, 100, 200, 200));
    b->setOpaquePaint(true);
    settle();
    const int parentPaints = p->paints;
    b->invalidateRect(nullptr);
    settle();
    EXPECT_EQ(p->paints, parentPaints);   // nothing of the parent lies outside the box
    EXPECT_EQ(b->erases, 0);
    EXPECT_EQ(shownPixel(150, 150), kRed);
    // Around it the parent still paints.
    p->invalidateRect(nullptr);
    settle();
    EXPECT_GT(p->paints, parentPaints);
    EXPECT_EQ(shownPixel(50, 50), kBlue);
    EXPECT_EQ(shownPixel(150, 150), kRed);
}
