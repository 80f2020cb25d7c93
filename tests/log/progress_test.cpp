// tests/log/progress_test.cpp: what a window hears of nested scopes.
#include "sharedlib/log/progress.h"
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

/// Installs itself and writes down what it is told, a word for each call.
class RecordingWindow final : public CProgressWindow {
public:
    RecordingWindow() { g_pWindow = this; }
    ~RecordingWindow() { g_pWindow = nullptr; }
    RecordingWindow(const RecordingWindow&) = delete;
    RecordingWindow& operator=(const RecordingWindow&) = delete;

    /// What was told since the last question.
    std::string heard() { return std::exchange(m_heard, ""); }
    void open() override { m_heard += "open "; }
    void update() override { m_heard += "update "; }
    void setStatusText(const char* text) override { m_heard += std::string("[") + text + "] "; }
    /// The next position is refused with an exception.
    void refuseNext() { m_refuses = true; }
    void setPosition(float position) override {
        if (std::exchange(m_refuses, false)) {
            throw std::runtime_error("refused");
        }
        m_heard += std::to_string(static_cast<int>(position * 1000 + 0.5F)) + ' ';
    }
    void setOverrun(bool on) override {
        m_overrun = on;
        m_heard += on ? "overrun " : "fine ";
    }
    bool isOverrun() override { return m_overrun; }
    void overrunUpdate() override { m_heard += "busy "; }
    void close() override { m_heard += "close "; }

private:
    bool m_overrun = false;
    bool m_refuses = false;
    std::string m_heard;
};

} // namespace

TEST(Progress, NestedScopesFillTheStepThatTheirParentAnnounced) {
    RecordingWindow window;
    {
        CProgress outer;
        outer.begin(0.5F);
        outer.begin(0.5F);
        EXPECT_EQ("open 0 0 500 ", window.heard());
        {
            CProgress inner;
            inner.setValue(0.5F);
            inner.begin(0.2F);
            inner.begin(0.2F);
            CProgress innermost;
            innermost.setValue(1);
            // What was announced for another scope's step is not this one's.
            CProgress whole;
            whole.setValue(0.5F);
            whole.end();
        }
        EXPECT_EQ("500 750 500 600 600 700 600 650 ", window.heard());
    }
    EXPECT_EQ("close ", window.heard());
}

TEST(Progress, ValuesAreCutToTheScopeUntilTheyPassTheTolerance) {
    RecordingWindow window;
    CProgress scope;
    scope.begin(0.25F);
    {
        CProgress part;
        window.heard();
        part.setValue(-3);
        part.setValue(1.005F);
        part.setValue(1.02F);
        part.setValue(0.5F);
        part.begin(0.1F);
        part.setStatus("%d of %s", 3, "many");
        part.setStatus(nullptr);
        EXPECT_EQ("0 250 overrun busy busy [3 of many] [] ", window.heard());
    }
    EXPECT_EQ("fine ", window.heard());
    scope.setStatus("%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(1999U + 3U, window.heard().size());
}

TEST(Progress, OnlyTheScopeThatRanOverEndsTheOverrun) {
    RecordingWindow window;
    CProgress outer;
    {
        CProgress steps;
        window.heard();
        for (int i = 0; i < 10; ++i) {
            steps.begin(0.1F);
        }
        EXPECT_EQ("0 100 200 300 400 500 600 700 800 900 ", window.heard());
        steps.begin(0.1F);
        { const CProgress innocent; }
        EXPECT_EQ("overrun busy ", window.heard());
    }
    EXPECT_EQ("fine ", window.heard());
}

TEST(Progress, WithoutAWindowNothingAdvances) {
    CProgress scope;
    scope.begin(0.9F);
    scope.setValue(7);
    scope.setStatus("%s", "nobody reads this");
    RecordingWindow window;
    scope.begin(0.5F);
    EXPECT_EQ("0 ", window.heard());
}

TEST(Progress, ScopesThatEndOutOfOrderLeaveTheOthersStanding) {
    RecordingWindow window;
    auto outer = std::make_unique<CProgress>();
    outer->begin(0.5F);
    auto inner = std::make_unique<CProgress>();
    window.heard();
    outer.reset();
    EXPECT_EQ("", window.heard());
    inner->setValue(1);
    inner.reset();
    EXPECT_EQ("500 close ", window.heard());
    { const CProgress next; }
    EXPECT_EQ("open 0 close ", window.heard());
}

TEST(Progress, AScopeWhoseFirstPositionIsRefusedIsNoScope) {
    RecordingWindow window;
    window.refuseNext();
    EXPECT_THROW(CProgress(), std::runtime_error);
    EXPECT_EQ("open close ", window.heard());
    { const CProgress next; }
    EXPECT_EQ("open 0 close ", window.heard());
}
