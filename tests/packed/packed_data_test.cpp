// tests/packed/packed_data_test.cpp: what messages look like and how they are read back.
#include "sharedlib/packed/packed_data.h"
#include "tests/packed/packed_data_model.h"
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>

namespace {

std::string bytesOf(const CPackedData& data) {
    return {data.readData(), static_cast<std::size_t>(data.size())};
}

std::string hex(const std::string& bytes) {
    static const char* const digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[byte & 15];
    }
    return text;
}

// One kind of value: how it is written, what that looks like without and with tags, and whether it is read back.
struct Kind {
    const char* name;
    std::function<void(CPackedData&)> write;
    const char* plain;
    const char* tagged;
    std::function<bool(const CPackedData&)> reads;
    std::function<bool(const CPackedData&)> readsNothing;
};

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> all = {
        {"true", [](CPackedData& d) { d.PutBool(true); }, "01", "6101",
         [](const CPackedData& d) { return d.GetBool(); }, [](const CPackedData& d) { return !d.GetBool(); }},
        {"uint8", [](CPackedData& d) { d.PutUint8(200); }, "c8", "62c8",
         [](const CPackedData& d) { return d.GetUint8() == 200; },
         [](const CPackedData& d) { return d.GetUint8() == 0; }},
        {"int8", [](CPackedData& d) { d.PutInt8('\x85'); }, "85", "6385",
         [](const CPackedData& d) { return d.GetInt8() == '\x85'; },
         [](const CPackedData& d) { return d.GetInt8() == 0; }},
        {"int16", [](CPackedData& d) { d.PutInt16(-2); }, "feff", "64feff",
         [](const CPackedData& d) { return d.GetInt16() == -2; },
         [](const CPackedData& d) { return d.GetInt16() == 0; }},
        {"uint16", [](CPackedData& d) { d.PutUint16(0xABCD); }, "cdab", "64cdab",
         [](const CPackedData& d) { return d.GetUint16() == 0xABCD; },
         [](const CPackedData& d) { return d.GetUint16() == 0; }},
        {"int32", [](CPackedData& d) { d.PutInt32(-70000); }, "90eefeff", "6590eefeff",
         [](const CPackedData& d) { return d.GetInt32() == -70000; },
         [](const CPackedData& d) { return d.GetInt32() == 0; }},
        {"size", [](CPackedData& d) { d.PutUint32(0xFEDCBA98); }, "98badcfe", "6598badcfe",
         [](const CPackedData& d) { return d.GetSize() == 0xFEDCBA98UL; },
         [](const CPackedData& d) { return d.GetUint32() == 0; }},
        {"int64", [](CPackedData& d) { d.PutInt64(-0x123456789ABLL); }, "557698badcfeffff", "66557698badcfeffff",
         [](const CPackedData& d) { return d.GetInt64() == -0x123456789ABLL; },
         [](const CPackedData& d) { return d.GetInt64() == 0; }},
        {"float", [](CPackedData& d) { d.PutFloat(-1.5F); }, "0000c0bf", "670000c0bf",
         [](const CPackedData& d) { return d.GetFloat() == -1.5F; },
         [](const CPackedData& d) { return d.GetFloat() == 0.0F; }},
        {"double", [](CPackedData& d) { d.PutDouble(0.1); }, "9a9999999999b93f", "719a9999999999b93f",
         [](const CPackedData& d) { return d.GetDouble() == 0.1; },
         [](const CPackedData& d) { return d.GetDouble() == 0.0; }},
        {"string", [](CPackedData& d) { d.PutString(std::string("hi\0lost", 7)); }, "02006869", "6902006869",
         [](const CPackedData& d) { return d.GetString() == "hi"; },
         [](const CPackedData& d) { return d.GetString().empty(); }},
        {"no string", [](CPackedData& d) { d.PutString(nullptr); }, "0000", "690000",
         [](const CPackedData& d) { return d.GetString().empty(); },
         [](const CPackedData& d) { return d.GetString().empty(); }},
        {"data", [](CPackedData& d) { d.PutData("\1\2\3", 3); }, "010203", "6803000000010203",
         [](const CPackedData& d) {
             std::string target = "???";
             d.GetData(target.data(), 3);
             return target == "\1\2\3";
         },
         [](const CPackedData& d) {
             std::string target = "???";
             d.GetData(target.data(), 3);
             return target == "???";
         }},
        {"magic", [](CPackedData& d) { d.PutMagic(); }, "023c", "70023c",
         [](const CPackedData& d) { return d.GetMagic(), !d.getReadErrorFlag(); },
         [](const CPackedData& d) { return d.GetMagic(), d.getReadErrorFlag(); }},
    };
    return all;
}

class PackedDataModes : public testing::TestWithParam<bool> {};

TEST_P(PackedDataModes, EveryKindHasItsBytesAndComesBack) {
    CPackedData all;
    all.setDebug(GetParam());
    std::string expected = GetParam() ? "01" : "00";
    for (const Kind& kind : kinds()) {
        CPackedData one;
        one.setDebug(GetParam());
        kind.write(one);
        EXPECT_EQ(hex(bytesOf(one)), (GetParam() ? "01" : "00") + std::string(GetParam() ? kind.tagged : kind.plain))
            << kind.name;
        kind.write(all);
        expected += GetParam() ? kind.tagged : kind.plain;
    }
    EXPECT_EQ(hex(bytesOf(all)), expected);
    const std::string bytes = bytesOf(all);
    for (const bool headerFirst : {false, true}) {
        const CPackedData view(bytes.data(), static_cast<int>(bytes.size()));
        for (int pass = 0; pass < 2; ++pass) {
            view.setGetIndex(0);
            if (headerFirst) {
                view.ReadHeader();
            }
            for (const Kind& kind : kinds()) {
                EXPECT_TRUE(kind.reads(view)) << kind.name;
            }
            EXPECT_EQ(view.GetGetIndex(), view.size());
            EXPECT_EQ(view.isDebug(), GetParam());
        }
        EXPECT_FALSE(view.getReadErrorFlag());
    }
}

// Copies of exact size let the address checker see a read one byte too far.
TEST_P(PackedDataModes, CutAnywhereMessagesReadAsZeroFromThereOn) {
    CPackedData all;
    all.setDebug(GetParam());
    std::vector<int> ends;
    for (const Kind& kind : kinds()) {
        kind.write(all);
        ends.push_back(all.GetPutIndex());
    }
    for (int length = 0; length <= all.size(); ++length) {
        const std::unique_ptr<char[]> copy(new char[static_cast<std::size_t>(length)]);
        std::copy_n(all.readData(), length, copy.get());
        const CPackedData view(copy.get(), length);
        int last = 0;
        bool whole = true;
        for (std::size_t i = 0; i < ends.size(); ++i) {
            // A text or blob that is cut short leaves its bytes to the next reader, so nothing is known behind one.
            const bool complete = ends[i] <= length;
            if (whole && (complete ? !kinds()[i].reads(view) : !kinds()[i].readsNothing(view))) {
                ADD_FAILURE() << kinds()[i].name << " of a message cut to " << length;
            } else if (!whole) {
                kinds()[i].reads(view);
            }
            whole = whole && complete;
            EXPECT_GE(view.GetGetIndex(), last);
            last = view.GetGetIndex();
        }
        EXPECT_EQ(view.size(), length);
    }
}

INSTANTIATE_TEST_SUITE_P(Tags, PackedDataModes, testing::Bool());

// Compares the fast ways with the plain rules through random use, state by state.
class AgainstPlainRules {
public:
    AgainstPlainRules(unsigned seed, int capacity)
        : m_random(seed), m_ours(new CPackedData(capacity)), m_model(static_cast<std::size_t>(capacity)) {}

    void step() {
        const int choice = below(20);
        if (choice < 9) {
            write();
        } else if (choice < 16) {
            read();
        } else {
            move();
        }
        ASSERT_EQ(m_ours->size(), static_cast<int>(m_model.m_used));
        ASSERT_EQ(m_ours->GetPutIndex(), static_cast<int>(m_model.m_put));
        ASSERT_EQ(m_ours->GetGetIndex(), static_cast<int>(m_model.m_get));
        ASSERT_EQ(m_ours->Buffer::size(), m_model.m_bytes.size());
        ASSERT_EQ(m_ours->isDebug(), m_model.m_debug);
        ASSERT_EQ(m_ours->hasMD5Checksum(), m_model.m_md5);
        ASSERT_EQ(m_ours->getReadErrorFlag(), m_model.m_readError);
        ASSERT_EQ(m_ours->checkBounds(3), m_model.m_get + 3 <= m_model.m_used);
        ASSERT_EQ(bytesOf(*m_ours), m_model.message());
    }

private:
    int below(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }
    std::string text() { return std::string(static_cast<std::size_t>(below(4) == 0 ? below(1500) : below(20)), 'x'); }

    void write() {
        const auto value = static_cast<std::uint32_t>(m_random());
        const std::uint64_t wide = std::uint64_t{value} << 32 | value;
        switch (below(8)) {
        case 0:
            m_ours->PutUint8(static_cast<std::uint8_t>(value));
            return m_model.put(value, 1, 0x62);
        case 1:
            m_ours->PutInt16(static_cast<std::int16_t>(value));
            return m_model.put(value, 2, 0x64);
        case 2:
            m_ours->PutInt64(static_cast<std::int64_t>(wide));
            return m_model.put(wide, 8, 0x66);
        case 3:
            m_ours->PutString(m_text = text());
            return m_model.putString(m_text);
        case 4:
            m_text = text();
            m_ours->PutData(m_text.data(), static_cast<int>(m_text.size()));
            return m_model.putData(m_text);
        case 5:
            m_ours->PutBool(value % 2 != 0);
            return m_model.put(value % 2, 1, 0x61);
        default:
            m_ours->PutUint32(value);
            return m_model.put(value, 4, 0x65);
        }
    }

    void read() {
        switch (below(6)) {
        case 0:
            EXPECT_EQ(m_ours->GetUint8(), m_model.get(1, 0x62));
            break;
        case 1:
            EXPECT_EQ(m_ours->GetUint16(), m_model.get(2, 0x64));
            break;
        case 2:
            EXPECT_EQ(static_cast<std::uint64_t>(m_ours->GetInt64()), m_model.get(8, 0x66));
            break;
        case 3:
            EXPECT_EQ(m_ours->GetString(), m_model.getString());
            break;
        case 4: {
            const int length = below(30);
            m_ours->SkipData(length);
            m_model.skipData(static_cast<std::size_t>(length));
            break;
        }
        default:
            EXPECT_EQ(m_ours->GetUint32(), m_model.get(4, 0x65));
        }
    }

    void move() {
        const auto index = static_cast<unsigned>(below(below(3) == 0 ? 5000 : 200));
        switch (below(9)) {
        case 0:
            m_ours->setPutIndex(index);
            return m_model.setPutIndex(index);
        case 1:
            m_ours->setGetIndex(index % 5 == 0 ? 0 : index);
            m_model.m_get = index % 5 == 0 ? 0 : index;
            return;
        case 2:
            m_ours->putSizeAtOffset(index);
            return m_model.putSizeAtOffset(index);
        case 3:
            m_ours->setDebug(m_model.m_debug = index % 2 == 0);
            return;
        case 4:
            m_ours->useMD5Checksum(m_model.m_md5 = index % 2 == 0);
            return;
        case 5:
            m_ours->testPutGrowth(static_cast<int>(index));
            return m_model.testPutGrowth(index);
        case 6:
            m_ours = std::make_unique<CPackedData>(*m_ours);
            m_model = m_model.copied();
            return;
        case 7:
            m_ours->checkSize(index);
            m_model.m_bytes.resize(std::max<std::size_t>(m_model.m_bytes.size(), index));
            return;
        default:
            m_ours->empty();
            m_model.empty();
        }
    }

    std::mt19937 m_random;
    std::string m_text;
    std::unique_ptr<CPackedData> m_ours;
    PackedDataModel m_model;
};

TEST(PackedData, FastWaysGiveWhatThePlainRulesGive) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        AgainstPlainRules pair(seed, static_cast<int>(seed * 7 % 200));
        for (int step = 0; step < 200; ++step) {
            pair.step();
            if (testing::Test::HasFailure()) {
                FAIL() << "seed " << seed << " step " << step;
            }
        }
    }
}

TEST(PackedData, SizeFieldCoversWhatFollowsIt) {
    for (const bool tags : {false, true}) {
        CPackedData data;
        data.setDebug(tags);
        data.PutUint8(7);
        const int offset = data.GetPutIndex();
        data.PutInt32(0);
        const int start = data.GetPutIndex();
        data.PutInt64(1);
        data.PutInt16(2);
        const int end = data.GetPutIndex();
        data.putSizeAtOffset(static_cast<unsigned long>(offset));
        EXPECT_EQ(data.GetPutIndex(), end);
        EXPECT_EQ(data.size(), end);
        EXPECT_EQ(data.GetUint8(), 7);
        EXPECT_EQ(data.GetSize(), static_cast<unsigned long>(end - start));
        EXPECT_EQ(data.GetInt64(), 1);
    }
}

// What derived classes use: payloads without header and tag.
class OpenPackedData : public CPackedData {
public:
    using CPackedData::CPackedData;
    using CPackedData::GetBoolNoDebug;
    using CPackedData::GetFloatNoDebug;
    using CPackedData::GetType;
    using CPackedData::peekDouble;
    using CPackedData::peekInt16;
    using CPackedData::peekType;
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
    EXPECT_EQ(data.GetPutIndex(), 1);
    EXPECT_EQ(data.size(), 1);
    data.PutInt16NoDebug(-2);
    data.PutFloatNoDebug(1.5F);
    data.PutDataNoDebug("ab", 2);
    data.PutInt8('c');
    EXPECT_EQ(hex(bytesOf(data)), "00feff0000c03f616263");
    EXPECT_EQ(data.peekType(), 0);
    EXPECT_EQ(data.GetType(), 0);
    EXPECT_EQ(data.peekInt16(), -2);
    EXPECT_EQ(data.GetType(), -2);
    EXPECT_TRUE(data.GetBoolNoDebug());
    EXPECT_EQ(data.GetFloatNoDebug(), 1.5F);
    EXPECT_EQ(data.peekDouble(), 0.0);
    EXPECT_EQ(data.GetGetIndex(), 7);
    data.setGetIndex(10);
    EXPECT_EQ(data.peekType(), 0);
    EXPECT_EQ(data.GetType(), 0);
    EXPECT_EQ(data.GetGetIndex(), 11);
    char foreign[] = "foreign";
    OpenPackedData view(foreign, 7);
    view.PutDoubleNoDebug(1);
    view.writeHeader();
    EXPECT_EQ(std::string(foreign), "foreign");
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
