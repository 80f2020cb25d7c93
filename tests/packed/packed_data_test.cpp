// tests/packed/packed_data_test.cpp: what messages look like and how they are read back.
#include "tests/packed/packed_data_model.h"
#include "tests/support/packed_data_fixture.h"
#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <tuple>
#include <type_traits>

namespace {

// One kind of value: what stands in front of it with tags, its bytes, how it is written, and whether it, or nothing, is
// read back.
struct Kind {
    const char* tag;
    const char* payload;
    std::function<void(CPackedData&)> write;
    std::function<bool(const CPackedData&)> reads;
    std::function<bool(const CPackedData&)> readsNothing;
};

template <class Written, class Read>
Kind number(const char* tag, const char* payload, std::type_identity_t<Written> value,
            void (CPackedData::*put)(Written), Read (CPackedData::*get)() const) {
    return {tag, payload, [=](CPackedData& data) { (data.*put)(value); },
            [=](const CPackedData& data) { return (data.*get)() == static_cast<Read>(value); },
            [=](const CPackedData& data) { return (data.*get)() == Read{}; }};
}

auto readsText(const std::string& expected) {
    return [expected](const CPackedData& data) { return data.GetString() == expected; };
}

auto readsData(const std::string& expected) {
    return [expected](const CPackedData& data) {
        std::string target = "???";
        data.GetData(target.data(), 3);
        return target == expected;
    };
}

auto readsMagic(bool expected) {
    return [expected](const CPackedData& data) { return data.GetMagic(), data.getReadErrorFlag() != expected; };
}

using P = CPackedData;
const Kind kKinds[] = {
    number("61", "01", true, &P::PutBool, &P::GetBool),
    number("62", "c8", 200, &P::PutUint8, &P::GetUint8),
    number("63", "85", '\x85', &P::PutInt8, &P::GetInt8),
    number("64", "feff", -2, &P::PutInt16, &P::GetInt16),
    number("64", "cdab", 0xABCD, &P::PutUint16, &P::GetUint16),
    number("65", "90eefeff", -70000, &P::PutInt32, &P::GetInt32),
    number("65", "a8badcfe", 0xFEDCBAA8, &P::PutUint32, &P::GetUint32),
    number("65", "98badcfe", 0xFEDCBA98, &P::PutUint32, &P::GetSize),
    number("66", "557698badcfeffff", -0x123456789ABLL, &P::PutInt64, &P::GetInt64),
    number("67", "0000c0bf", -1.5F, &P::PutFloat, &P::GetFloat),
    number("71", "9a9999999999b93f", 0.1, &P::PutDouble, &P::GetDouble),
    {"69", "02006869", [](P& data) { data.PutString(std::string("hi\0lost", 7)); }, readsText("hi"), readsText("")},
    {"69", "0000", [](P& data) { data.PutString(nullptr); }, readsText(""), readsText("")},
    {"6803000000", "010203", [](P& data) { data.PutData("\1\2\3", 3); }, readsData("\1\2\3"), readsData("???")},
    {"70", "023c", [](P& data) { data.PutMagic(); }, readsMagic(true), readsMagic(false)},
};

class PackedDataModes : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Tags, PackedDataModes, testing::Bool());

TEST_P(PackedDataModes, EveryKindHasItsBytesAndComesBack) {
    CPackedData all;
    all.setDebug(GetParam());
    const std::string header = GetParam() ? "01" : "00";
    std::string expected = header;
    for (const Kind& kind : kKinds) {
        const std::string bytes = (GetParam() ? kind.tag : "") + std::string(kind.payload);
        CPackedData one;
        one.setDebug(GetParam());
        kind.write(one);
        EXPECT_EQ(hex(bytesOf(one)), header + bytes);
        kind.write(all);
        expected += bytes;
    }
    EXPECT_EQ(hex(bytesOf(all)), expected);
    const CPackedData view(all.readData(), all.size());
    for (const bool headerFirst : {false, true}) {
        view.setGetIndex(0);
        if (headerFirst) {
            view.ReadHeader();
        }
        for (const Kind& kind : kKinds) {
            EXPECT_TRUE(kind.reads(view)) << kind.tag << ' ' << kind.payload;
        }
        EXPECT_EQ(view.GetGetIndex(), view.size());
        EXPECT_EQ(view.isDebug(), GetParam());
        EXPECT_FALSE(view.getReadErrorFlag());
    }
}

// Copies of exact size let the address checker see a read one byte too far.
TEST_P(PackedDataModes, CutAnywhereMessagesReadAsZeroFromThereOn) {
    CPackedData all;
    all.setDebug(GetParam());
    std::vector<int> ends;
    for (const Kind& kind : kKinds) {
        kind.write(all);
        ends.push_back(all.GetPutIndex());
    }
    for (int length = 0; length <= all.size(); ++length) {
        const std::unique_ptr<char[]> copy(new char[static_cast<std::size_t>(length)]);
        std::copy_n(all.readData(), length, copy.get());
        const CPackedData view(copy.get(), length);
        bool whole = true;
        for (std::size_t i = 0; i < ends.size(); ++i) {
            const int last = view.GetGetIndex();
            const bool complete = ends[i] <= length;
            const bool good = complete ? kKinds[i].reads(view) : kKinds[i].readsNothing(view);
            // A text or blob that is cut short leaves its bytes to the next reader, so nothing is known behind one.
            EXPECT_TRUE(good || !whole) << kKinds[i].tag << " of a message cut to " << length;
            EXPECT_GE(view.GetGetIndex(), last);
            whole = whole && complete;
        }
    }
}

// Compares the fast ways with the plain rules through random use, state by state.
class AgainstPlainRules {
public:
    AgainstPlainRules(unsigned int seed, std::size_t capacity)
        : m_random(seed), m_ours(new CPackedData(static_cast<int>(capacity))), m_model(capacity) {}

    void step() {
        const std::size_t choice = below(20);
        const auto& steps = choice < 9 ? m_writes : choice < 16 ? m_reads : m_moves;
        steps[below(steps.size())]();
        ASSERT_EQ(static_cast<std::size_t>(m_ours->size()), m_model.m_used);
        ASSERT_EQ(static_cast<std::size_t>(m_ours->GetPutIndex()), m_model.m_put);
        ASSERT_EQ(static_cast<std::size_t>(m_ours->GetGetIndex()), m_model.m_get);
        ASSERT_EQ(m_ours->Buffer::size(), m_model.m_bytes.size());
        ASSERT_EQ(std::tuple(m_ours->isDebug(), m_ours->hasMD5Checksum(), m_ours->getReadErrorFlag()),
                  std::tuple(m_model.m_debug, m_model.m_md5, m_model.m_readError));
        ASSERT_EQ(m_ours->checkBounds(3), m_model.checkBounds(3));
        ASSERT_EQ(bytesOf(*m_ours), m_model.message());
    }

private:
    std::size_t below(std::size_t bound) { return m_random() % bound; }
    std::size_t index() { return below(below(3) == 0 ? 5000 : 200) * (below(5) != 0 ? 1 : 0); }
    std::string text() {
        std::string result(below(4) == 0 ? below(1500) : below(20), 'x');
        result[below(2 * result.size() + 1) % (result.size() + 1)] = '\0';
        return result;
    }
    template <class T>
    void put(void (CPackedData::*write)(T), std::uint8_t tag) {
        const auto value = static_cast<T>(std::uint64_t{m_random()} << 32 | m_random());
        ((*m_ours).*write)(value);
        m_model.put(static_cast<std::uint64_t>(value), sizeof(T), tag);
    }
    template <class T>
    void take(T (CPackedData::*read)() const, std::uint8_t tag) {
        EXPECT_EQ(((*m_ours).*read)(), static_cast<T>(m_model.get(sizeof(T), tag)));
    }
    template <class Action>
    void both(Action action) {
        action(*m_ours);
        action(m_model);
    }

    std::mt19937 m_random;
    std::unique_ptr<CPackedData> m_ours;
    PackedDataModel m_model;
    const std::vector<std::function<void()>> m_writes = {
        [this] { put(&P::PutBool, 0x61); },
        [this] { put(&P::PutUint8, 0x62); },
        [this] { put(&P::PutInt16, 0x64); },
        [this] { put(&P::PutUint32, 0x65); },
        [this] { put(&P::PutInt64, 0x66); },
        [this] { both([what = text()](auto& data) { data.PutString(what); }); },
        [this] { both([what = text()](auto& data) { data.PutData(what.data(), static_cast<int>(what.size())); }); },
    };
    const std::vector<std::function<void()>> m_reads = {
        [this] { take(&P::GetUint8, 0x62); },
        [this] { take(&P::GetUint16, 0x64); },
        [this] { take(&P::GetUint32, 0x65); },
        [this] { take(&P::GetInt64, 0x66); },
        [this] { EXPECT_EQ(m_ours->GetString(), m_model.GetString()); },
        [this] { both([length = static_cast<int>(below(30)) - 2](auto& data) { data.SkipData(length); }); },
    };
    const std::vector<std::function<void()>> m_moves = {
        [this] { both([to = index()](auto& data) { data.setPutIndex(to); }); },
        [this] { both([to = index()](auto& data) { data.setGetIndex(to); }); },
        [this] { both([at = index()](auto& data) { data.putSizeAtOffset(at); }); },
        [this] { both([on = below(2) == 0](auto& data) { data.setDebug(on); }); },
        [this] { both([on = below(2) == 0](auto& data) { data.useMD5Checksum(on); }); },
        [this] { both([length = static_cast<int>(index()) - 9](auto& data) { data.testPutGrowth(length); }); },
        [this] { both([size = static_cast<unsigned int>(index())](auto& data) { data.checkSize(size); }); },
        [this] { both([](auto& data) { data.empty(); }); },
        [this] {
            m_ours = std::make_unique<CPackedData>(*m_ours);
            m_model.becomeCopy();
        },
    };
};

TEST(PackedData, FastWaysGiveWhatThePlainRulesGive) {
    for (unsigned int seed = 1; seed <= 400; ++seed) {
        AgainstPlainRules pair(seed, seed * 7 % 200);
        for (int step = 0; step < 200 && !testing::Test::HasFailure(); ++step) {
            pair.step();
        }
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
    }
}

TEST(PackedData, SizeFieldCoversWhatFollowsIt) {
    CPackedData data;
    data.PutUint8(7);
    data.PutInt32(0);
    data.PutInt64(1);
    data.PutInt16(2);
    data.putSizeAtOffset(2);
    EXPECT_EQ(hex(bytesOf(data)), "00070a00000001000000000000000200");
    EXPECT_EQ(data.GetPutIndex(), 16);
}

// What derived classes use: payloads without header and tag.
class OpenPackedData : public CPackedData {
public:
    using CPackedData::CPackedData;
    using CPackedData::GetFloatNoDebug;
    using CPackedData::GetType;
    using CPackedData::peekDouble;
    using CPackedData::peekInt16;
    using CPackedData::PutDataNoDebug;
    using CPackedData::PutDoubleNoDebug;
    using CPackedData::PutFloatNoDebug;
    using CPackedData::PutInt16NoDebug;
    using CPackedData::PutType;
    using CPackedData::writeHeader;
};

TEST(PackedData, DerivedClassesWriteAndReadBarePayloads) {
    OpenPackedData data;
    data.PutType(0x1F0);
    EXPECT_EQ(hex(bytesOf(data)), "f0") << "no header in front of it";
    data.empty();
    data.writeHeader();
    data.PutInt16NoDebug(-2);
    data.PutFloatNoDebug(1.5F);
    data.PutDataNoDebug("ab", 2);
    data.PutInt8('c');
    EXPECT_EQ(hex(bytesOf(data)), "00feff0000c03f616263");
    data.setGetIndex(1);
    EXPECT_EQ(data.peekInt16(), -2);
    EXPECT_EQ(data.GetType(), -2);
    data.setGetIndex(3);
    EXPECT_EQ(data.GetFloatNoDebug(), 1.5F);
    EXPECT_EQ(data.peekDouble(), 0.0);
    EXPECT_EQ(data.GetGetIndex(), 7);
    data.setGetIndex(10);
    EXPECT_EQ(data.GetType(), 0);
    EXPECT_EQ(data.GetGetIndex(), 11);
    std::string foreign = "foreign";
    OpenPackedData view(foreign.data(), 7);
    view.PutDoubleNoDebug(1);
    EXPECT_EQ(foreign, "foreign");
}

TEST(PackedData, CountsLiveBuffersAndCopiesDeeply) {
    const int before = CPackedData::getPacketCount();
    {
        CPackedData first;
        first.PutInt32(5);
        CPackedData second(first);
        const CPackedData view(first.readData(), first.size());
        EXPECT_EQ(CPackedData::getPacketCount(), before + 3);
        second = view;
        second = *&second;
        first.empty();
        first.PutInt32(6);
        EXPECT_EQ(second.GetInt32(), 5);
        second.PutInt32(8);
        EXPECT_EQ(hex(bytesOf(second)), "0008000000") << "a write into a copy starts a new message";
    }
    EXPECT_EQ(CPackedData::getPacketCount(), before);
    EXPECT_EQ(CPackedData(nullptr, -1).size(), 0);
    EXPECT_EQ(CPackedData(-5).Buffer::size(), 0U);
}

} // namespace
