// tests/scripted/per_test.h: starts every test with a fresh script and judges at its end what is left of it.
#pragma once
#include <gtest/gtest.h>
#include <string_view>

namespace scripted {

/// One object of static life per scripted layer: `begin` runs before each test and is told whether the test belongs to
/// a contract suite (a suite whose name ends in "Contract"), `end` runs after the test's own objects are gone.
class PerTest {
public:
    using Begin = void (*)(bool isContract);
    using End = void (*)();

    PerTest(Begin begin, End end) { testing::UnitTest::GetInstance()->listeners().Append(new Listener(begin, end)); }

private:
    class Listener : public testing::EmptyTestEventListener {
    public:
        Listener(Begin begin, End end) : m_begin(begin), m_end(end) {}

        void OnTestStart(const testing::TestInfo& test) override {
            m_begin(std::string_view(test.test_suite_name()).ends_with("Contract"));
        }
        void OnTestEnd(const testing::TestInfo&) override { m_end(); }

    private:
        Begin m_begin;
        End m_end;
    };
};

} // namespace scripted
