// What no document must do to its reader, JSON or not.
#include <nlohmann/json.hpp>

#include "client/output/output.h"
#include "tests/client/client.h"
#include "tests/support/paths.h"

using namespace xyl;
using namespace xyl::client;

using nlohmann::json;

TEST(Json, IsValidWhateverTheTexts) {
  std::string out;
  Front front = frontInto(out);
  const struct {
    const char *text, *read;
  } texts[] = {
      {"\"\\/\b\n\x7F\x01", "\"\\/\b\n\x7F\x01"},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"\xE9t\xE9", "\xC3\xA9t\xC3\xA9"},                                               // Latin-1
      {"\xC0\x80\xE0\x80\x80\xF5", "\xC3\x80\xC2\x80\xC3\xA0\xC2\x80\xC2\x80\xC3\xB5"}, // overlong
      {"\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},                                     // a surrogate
      {"\xE2\x82", "\xC3\xA2\xC2\x82"},                                                 // cut
  };
  Json writer = {};
  writer.front = &front;
  jsonObject(&writer, nullptr);
  jsonArray(&writer, "texts");
  for (const auto &row : texts) {
    jsonText(&writer, nullptr, row.text);
  }
  jsonEnd(&writer);
  jsonNumber(&writer, "number", ~0ULL);
  jsonEnd(&writer);
  json document = json::parse(out);
  for (size_t i = 0; i < std::size(texts); ++i) {
    EXPECT_EQ(document["texts"][i], texts[i].read) << i;
  }
  EXPECT_EQ(document["number"], ~0ULL);
}

// Nothing that a terminal takes for a command comes from a controller, a document or a name; UTF-8 is let through.
TEST(Controls, AreShownNotSent) {
  const char *text = "a\x1b\x9b\n\xC3\xA9\xC2\x9B\x7F\xE9";
  const std::string shown = "a\\x1B\\x9B\\x0A\xC3\xA9\\x9B\\x7F\xE9", lines = "a\\x1B\\x9B\n\xC3\xA9\\x9B\\x7F\xE9";
  std::string out;
  Front front = frontInto(out);
  say(&front, "%a|\n", text);
  complain(&front, "%a", text);
  sayText(&front, text);
  sayMarked(&front, text, 0);
  EXPECT_EQ(out, shown + "|\nxyl: " + shown + "\n" + shown + shown);
  out.clear();
  sayLines(&front, text);
  sayDocument(&front, text, std::strlen(text));
  front.terminal = true;
  sayDocument(&front, text, std::strlen(text));
  EXPECT_EQ(out, lines + text + lines);

  Client client("demo");
  client.expect({R"(0 !sed -i 's/Harrier R6/\\u001b[2J\\u009b/' lab.json)",
                 R"(0 sim show lab.json => Adapter      \x1B[2J\x9B)",
                 R"(0 sim show lab.json --json => "\u001B[2J\u009B)",
                 R"x(3 show "$(printf 'a\033\233')" => cannot read 'a\x1B\x9B)x"});
}

TEST(Colours, AreForTerminalsOnly) {
  for (const std::string environment : {"TERM=xterm", "TERM=xterm NO_COLOR=1", "TERM=dumb"}) {
    std::string text = onTerminal(environment + " " + binaryDir() + "/bin/xyl show --preset demo");
    bool isColoured = environment == "TERM=xterm";
    EXPECT_NE(text.find(isColoured ? "\x1b[32mOnline\x1b[0m  " : "Online  VD 1"), std::string::npos) << text;
    EXPECT_EQ(text.find('\x1b') != std::string::npos, isColoured);
  }
  Client client("demo");
  EXPECT_EQ(client.expect({"0 show --preset demo"}).find('\x1b'), std::string::npos);
}
