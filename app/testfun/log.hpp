#pragma once
// The test model of the quick-test screen: a test item, the log it writes
// its progress lines to, the log that writes to the window's edit box, the
// built-in demo test, and the message a test sends when it finishes after
// execute() has returned.
//
// Texts given to these classes (item names, log lines) are GBK, as the
// program stores its operator texts; they reach the toolkit as UTF-8.

#include <functional>

class Edit;

// The printf-style sink a test writes its progress lines to, one line a call.
//
// It has exactly one virtual operation. The destructor is protected and not
// virtual, so nobody deletes a log through this interface; the owner deletes
// the concrete log (the quick-test window owns an EditLog).
class Log {
public:
    __attribute__((format(printf, 2, 3))) virtual void Message(const char* fmt, ...) = 0;

protected:
    Log() = default;
    ~Log() = default;
    Log(const Log&) = default;
    Log& operator=(const Log&) = default;
};

// One factory test. Subclasses override only the destructor and execute().
class TestItem {
public:
    // name: a non-empty GBK text (the item keeps a UTF-8 copy). A null or
    // empty name is a programming error: the assertion "name && strlen(name)"
    // fails and the program aborts, in every build.
    TestItem(char* name, bool autoRun);
    virtual ~TestItem();
    TestItem(const TestItem&) = delete;
    TestItem& operator=(const TestItem&) = delete;

    // The display name in UTF-8, owned by the item; null when the conversion
    // failed (the window then formats a null name).
    virtual const char* getName();
    // -1 until a result is stored, 0 pass, 1 fail.
    virtual int getResult();
    virtual void setResult(int value);
    virtual bool isAutoRun();
    // Runs the test, writing lines to log. Returns 0 pass, 1 fail, 2 "ask the
    // operator", or any other value when the test goes on after returning
    // (it then stores its result and calls postTestFinished()).
    virtual int execute(Log* log) = 0;
    virtual void setTested(bool value);
    virtual bool getTested();

protected:
    int result { -1 };
    char* name { nullptr }; // heap UTF-8 text from str2utf8, released with free()
    bool autoRun { false };
    bool tested { false };
};

// The log of the quick-test window: each message becomes one line at the end
// of an edit box, which keeps the newest lines in view and is repainted at
// once, since a test runs inside an event handler and blocks the loop.
//
// final: Log's destructor is not virtual, and the window deletes its EditLog
// by its own type.
class EditLog final : public Log {
public:
    explicit EditLog(Edit* edit)
        : edit(edit)
    {
    }

    // Formats at most 1023 bytes, adds a newline, converts the line from GBK
    // and inserts it at the caret. A line whose conversion fails is dropped.
    __attribute__((format(printf, 2, 3))) void Message(const char* fmt, ...) override;

    // Called with each formatted line (GBK, without its newline), also when
    // its conversion fails: the run report keeps the lines of each test.
    void setLineObserver(std::function<void(const char*)> observer) { m_observer = std::move(observer); }

private:
    Edit* edit; // not owned
    std::function<void(const char*)> m_observer;
};

// A built-in test that needs no hardware. Successive demo items get the
// outcomes pass, fail, ask, pass, fail, ... from a counter shared by the
// whole process.
class demoTestItem : public TestItem {
public:
    explicit demoTestItem(char* name);

    // Writes three lines and returns the outcome (0, 1 or 2).
    int execute(Log* log) override;

    // The next demo item's outcome is s_result mod 3; starts at 0 and only
    // ever grows (tests may reset it).
    static int s_result;

protected:
    int outcome { 0 };
};

// Tells the quick-test window that a test which went on after execute()
// returned has finished: posts message 8195 with first parameter 3, through
// the application's queue, to the window with id 101. Store the result with
// setResult() first. Returns 0 when posted, -1 when there is no such window
// (then nothing is posted).
int postTestFinished();
