// JSON from every command, read by another reader.
#include <nlohmann/json.hpp>

#include "client.h"
#include "xyl/output/output.h"

using nlohmann::json;

TEST(Json, EveryCommandHasIt) {
  Client client("demo");
  client.write("delete.xml", "<raidData><Method name=\"Delete\"><ObjectType>Virtual Disk</ObjectType><OID>5</OID>"
                             "</Method></raidData>");
  const struct {
    const char *line;
    const char *pointer; // a member
    json value;
  } cases[] = {
      {"0 list", "/controllers/0/disks", {{"Online", 12}, {"Ready", 8}}},
      {"0 identify", "/words", {1, 4, 0xDC, 0xEDCC0002, 0}},
      {"0 show", "/Adapter/Enclosure/0/PD/2/VD", {2, 3}},
      {"0 show", "/Adapter/Enclosure/0/PD/2/Size", 2000398934016},
      {"0 show", "/Adapter/VD/1/CurrentCachePolicy/WritePolicy", {"Write Back"}},
      {"0 show", "/Adapter/Rate/0", {{"Name", "Rebuild"}, {"Editable", true}, {"Value", 30}}},
      {"0 show", "/Adapter/CorrectUnconfiguredAreas", true},
      {"0 show", "/Adapter/Keyid", "demo-key-1"},
      {"0 verify saved.xml", "/differences", json::array()},
      {"0 plan saved.xml", "/steps/2/step", "Validate"},
      {"1 plan saved.xml --rebuild", "/securityKeyRemoved", true},
      {"1 plan saved.xml --rebuild", "/virtualDisks/1/disks", {1003, 1004, 1005, 1006}},
      {"1 plan saved.xml --rebuild", "/destroyed/1/disks", {1003, 1004, 1005, 1006}},
      {"1 plan saved.xml --rebuild", "/hotSpares", {1007, 1008}},
      {"1 plan saved.xml --rebuild",
       "/disks/0",
       {{"saved", 1001}, {"current", 1001}, {"reason", "the same disk in the same place"}}},
      {"0 sim firmware lab.json 21.3", "", ""},
      {"0 sim pull lab.json 1012", "", ""},
      {"0 sim pull lab.json 1001", "", ""},
      {"1 verify saved.xml", "/result", 0x40},
      {"1 verify saved.xml",
       "/differences/0",
       {{"what", "firmware lower"}, {"saved", "21.3.4-0001"}, {"current", "21.3"}}},
      {"1 diff saved.xml",
       "/differences/0",
       {{"kind", "changed"},
        {"object", "adapter"},
        {"name", "adapter"},
        {"oldId", 0},
        {"newId", 0},
        {"element", "FirmwareVersion"},
        {"what", "firmware version"},
        {"old", "21.3.4-0001"},
        {"new", "21.3"}}},
      {"1 plan saved.xml --rebuild", "/complete", false},
      {"1 plan saved.xml --rebuild", "/virtualDisks/3/reason", "no partner for saved disks 1012"},
      {"0 apply delete.xml --yes",
       "/steps/0",
       {{"step", "DELETE"}, {"result", "Success"}, {"status", "Success"}, {"object", "virtual disk 5"}}},
      {"4 apply delete.xml --yes", "/status", "Not Found"},
      {"1 restore saved.xml", "/failedSteps", 0},
      {"0 sim show lab.json", "/enclosures/0/emptySlots", {"301:0", "301:11"}},
      {"0 sim show lab.json", "/pulledDisks/0/place", "302:0"},
      {"1 restore saved.xml --rebuild --partial --no-backup --yes", "/failedSteps", 2},
      {"1 restore saved.xml --rebuild --partial --no-backup --yes", "/verdict/notDone/0/element", "VD"},
      {"1 plan delete.xml", "/changes/0/destroys", true},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.line);
    if (*row.pointer == 0) {
      client.expect({row.line});
      continue;
    }
    bool isSim = std::string(row.line).find(" sim ") != std::string::npos;
    std::string controller = isSim ? "" : " --controller lab.json";
    std::string printed = client.expect({row.line + std::string(" --json") + controller});
    json document = json::parse(printed.substr(0, printed.find("xyl: "))); // the message comes behind it
    EXPECT_EQ(document.at(json::json_pointer(row.pointer)), row.value) << document.dump(1);
  }
  // A document or nothing: what went wrong stands on the error output.
  for (const char *line : {"4 show delete.xml --json", "2 restore saved.xml --rebuild --json --controller lab.json",
                           "2 get --json --preset demo", "4 plan lab.json --json --preset demo"}) {
    EXPECT_EQ(client.expect({line}).find("xyl: "), 0u);
  }
}

TEST(Json, IsValidWhateverTheTexts) {
  std::string out;
  XYL_HOST host = hostInto(out);
  const struct {
    const char *text;
    const char *read;
  } texts[] = {
      {"", ""},
      {"\"\\/\b\n\x7F\x01", "\"\\/\b\n\x7F\x01"},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"\xE9t\xE9", "\xC3\xA9t\xC3\xA9"},                                               // Latin-1
      {"\xC0\x80\xE0\x80\x80\xF5", "\xC3\x80\xC2\x80\xC3\xA0\xC2\x80\xC2\x80\xC3\xB5"}, // overlong
      {"\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},                                     // a surrogate
      {"\xE2\x82", "\xC3\xA2\xC2\x82"},                                                 // cut
  };
  JSON writer = {};
  writer.Host = &host;
  jsonObject(&writer, nullptr);
  jsonArray(&writer, "texts");
  for (const auto &row : texts) {
    jsonText(&writer, nullptr, row.text);
  }
  jsonEnd(&writer);
  jsonObject(&writer, "empty");
  jsonEnd(&writer);
  jsonNumber(&writer, "number", ~0ULL);
  jsonNull(&writer, "null");
  jsonEnd(&writer);
  json document = json::parse(out);
  for (size_t i = 0; i < std::size(texts); ++i) {
    EXPECT_EQ(document["texts"][i], texts[i].read) << i;
  }
  EXPECT_EQ(document["number"], ~0ULL);
  EXPECT_TRUE(document["empty"].empty() && document["null"].is_null());
}

// Nothing that a terminal takes for a command comes from a controller, a document or a name; UTF-8 is let through.
TEST(Controls, AreShownNotSent) {
  const char *text = "a\x1b\x9b\n\xC3\xA9\xC2\x9B\x7F\xE9";
  const std::string shown = "a\\x1B\\x9B\\x0A\xC3\xA9\\x9B\\x7F\xE9", lines = "a\\x1B\\x9B\n\xC3\xA9\\x9B\\x7F\xE9";
  std::string out;
  XYL_HOST host = hostInto(out);
  say(&host, "%a|\n", text);
  complain(&host, "%a", text);
  sayText(&host, text);
  sayMarked(&host, text, 0);
  EXPECT_EQ(out, shown + "|\nxyl: " + shown + "\n" + shown + shown);
  out.clear();
  sayLines(&host, text);
  sayDocument(&host, text, std::strlen(text));
  host.Terminal = true;
  sayDocument(&host, text, std::strlen(text));
  EXPECT_EQ(out, lines + text + lines);

  Client client("demo");
  client.expect({R"(0 !sed -i 's/Harrier R6/\\u001b[2J\\u009b/' lab.json)",
                 R"(0 sim show lab.json => Adapter      \x1B[2J\x9B)",
                 R"(0 sim show lab.json --json => "\u001B[2J\u009B)",
                 R"x(3 show "$(printf 'a\033\233')" => cannot read 'a\x1B\x9B)x"});
}

TEST(Colours, AreForTerminalsOnly) {
  const std::string green = "\x1b[32mOnline\x1b[0m  ";
  const std::string show = " " RAIDXYL_BINARY_DIR "/xyl/xyl show --preset demo";
  EXPECT_NE(onTerminal("TERM=xterm" + show).find(green), std::string::npos);
  for (const char *environment : {"TERM=xterm NO_COLOR=1", "TERM=dumb"}) {
    std::string plain = onTerminal(environment + show);
    EXPECT_NE(plain.find("Online  VD 1"), std::string::npos) << plain;
    EXPECT_EQ(plain.find('\x1b'), std::string::npos);
  }
  Client client("demo");
  EXPECT_EQ(client.expect({"0 show --preset demo"}).find('\x1b'), std::string::npos);
}
