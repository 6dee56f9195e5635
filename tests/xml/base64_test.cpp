#include <cstring>

#include "tests/support/world.h"
#include "xml/base64.h"

TEST(Base64, DecodesLenientlyAndTellsTheLengthBefore) {
  World world({.preset = nullptr, .connect = false});
  struct {
    const char *text;
    std::string bytes;
  } cases[] = {
      {"", ""},
      {"QUJD", "ABC"},
      {"QUI=", "AB"},
      {"QQ==", "A"},
      {"QUI=QQ==", "ABA"},
      {"+/+/", "\xFB\xFF\xBF"},
      {"Q*JD", std::string("@\x02\x43")}, // outside the alphabet: 0
      {"=UJD", std::string("\x01\x42\x43")},
      {"QQ=D", "A"}, // "=" in third place ends the group
      {"QUJ", "AB"}, // a short group is filled up with "="
      {"Q", "@"},
      {"QUJDQU", "ABCA"},
      {"\xFF\xFF\xFF\xFF", std::string(3, '\0')},
  };
  for (const auto &row : cases) {
    UINT8 out[16];
    memset(out, 0xAA, sizeof(out));
    UINT64 length = 99;
    world.clearLog();
    Base64Decode(row.text, out, &length);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out), length), row.bytes) << row.text;
    EXPECT_EQ(out[length], 0xAA) << row.text;
    EXPECT_EQ(Base64DecodedLength(row.text), row.bytes.size()) << row.text;
    EXPECT_EQ(world.log(), "TRACE Base64Decode: Entered.\nTRACE Base64Decode: Exit. Done.\n");
  }
  UINT8 out = 1;
  UINT64 length = 99;
  world.clearLog();
  Base64Decode(nullptr, &out, &length);
  Base64Decode("QUJD", nullptr, &length);
  Base64Decode("QUJD", &out, nullptr);
  EXPECT_EQ(length, 99U);
  EXPECT_EQ(out, 1);
  EXPECT_EQ(countOf(world.log(), "Exit. NULL params"), 3U);
  EXPECT_EQ(Base64DecodedLength(nullptr), 0U);
}
