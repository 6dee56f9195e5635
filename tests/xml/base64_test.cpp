#include "driver/xml/xml.h"
#include "tests/support/world.h"

TEST(Base64, IsReadLeniently) {
  World world({.preset = nullptr, .connect = false});
  const struct {
    const char *text;
    std::string bytes;
  } cases[] = {
      {"", ""},
      {"QUJD", "ABC"},
      {"QUJDRA==", "ABCD"},
      {"QUI", "AB"}, // the missing ones of a group count as "="
      {"QQ", "A"},
      {"Q", "@"},
      {"QQ==QUI=QUJD", "AABABC"}, // a group may end early anywhere
      {"+/+/az09", "\xFB\xFF\xBFk=="},
      {"Q*J!", std::string("@\x02@", 3)}, // what is outside the alphabet counts as 0
      {"\xFF\xFF\xFF\xFF", std::string(3, 0)},
      {"QQ=D", "A"},
      {"=UJD", "\001BC"},
  };
  for (const auto &row : cases) {
    ASSERT_EQ(Base64DecodedLength(row.text), row.bytes.size()) << row.text;
    std::vector<UINT8> out(row.bytes.size() + 1, 1);
    UINT64 length = 99;
    Base64Decode(row.text, out.data(), &length);
    EXPECT_EQ(std::string(out.begin(), out.end()), row.bytes + "\1") << row.text;
    EXPECT_EQ(length, row.bytes.size());
  }
  world.clearLog();
  UINT8 out[4] = {1, 1, 1, 1};
  UINT64 length = 99;
  Base64Decode(nullptr, out, &length);
  Base64Decode("QUJD", nullptr, &length);
  Base64Decode("QUJD", out, nullptr);
  EXPECT_EQ(length, 99U);
  EXPECT_EQ(out[0], 1);
  EXPECT_EQ(countOf(world.log(), "Exit. NULL params"), 3U);
  EXPECT_EQ(Base64DecodedLength(nullptr), 0U);
}
