#include "plugin/gsm_profile.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "plugin/host_records.h"

namespace tarnik {
namespace {

// One byte before the record, so the address lies on an odd address in memory too; a
// buffer shorter than the record, or none, is refused and leaves the profile as it was.
TEST(GsmProfile, FieldsAtTheirOffsetsWithAnUnalignedAddress) {
    const std::vector<uint8_t> buffer = {0xEE, 2,    7,    0x88, 0x77, 0x66, 0x55, 0x44,
                                         0x33, 0x22, 0x11, 1,    1,    0xA5, 0xEE};
    const uint8_t* volatile none = nullptr;  // not known to be null where it is read
    GsmProfile p{};
    EXPECT_FALSE(ProfileFromBytes(buffer.data() + 1, 12, p));
    EXPECT_FALSE(ProfileFromBytes(none, 13, p));
    EXPECT_EQ(p.comPort, 0);
    ASSERT_TRUE(ProfileFromBytes(buffer.data() + 1, 13, p));
    EXPECT_EQ(p.connectionKind, kConnectionCom);
    EXPECT_EQ(p.comPort, 7);
    EXPECT_EQ(p.BtAddress(), 0x1122334455667788ull);
    EXPECT_EQ(p.flashSms, 1);
    EXPECT_EQ(p.waitForReport, 1);
    EXPECT_EQ(p.reserved, 0xA5);

    uint8_t out[14] = {};
    p.SetBtAddress(0x0102030405060708ull);
    ProfileToBytes(p, out);
    const std::vector<uint8_t> expected = {2, 7, 8, 7, 6, 5, 4, 3, 2, 1, 1, 1, 0xA5, 0};
    EXPECT_EQ(std::vector<uint8_t>(out, out + 14), expected);  // nothing past the record
}

TEST(TransportId, ExactMatchOnly) {
    const struct {
        const wchar_t* id;
        bool ours;
    } cases[] = {
        {L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35", true},
        {L"3a5c1e07-6b2d-4f19-8e44-c0d2b7a91f35", false},
        {L"{3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35}", false},
        {L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35 ", false},
        {L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F3", false},
        {L"", false},
        {nullptr, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(IsOurTransport(c.id), c.ours);
}

}  // namespace
}  // namespace tarnik
