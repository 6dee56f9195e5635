// The file that keeps a simulated controller.
#include <gtest/gtest.h>

#include "client.h"

TEST(ControllerFile, KeepsEveryPresetWhole) {
  Client client;
  for (const char *preset : {"demo", "direct", "sas", "empty", "large"}) {
    client.output({"sim", "new", "--force", "--preset", preset, "lab.json"});
    std::string made = client.read("lab.json");
    EXPECT_EQ(client.output({"get", "--controller", "lab.json"}), client.output({"get", "--preset", preset})) << preset;
    // Replacing the settings by the same ones saves the file again, byte for byte, and nothing beside it.
    client.output({"get", "--controller", "lab.json", "-o", "saved.xml"});
    client.output({"restore", "saved.xml", "--controller", "lab.json"});
    EXPECT_EQ(client.read("lab.json"), made) << preset;
    EXPECT_EQ(client.fileCount(), 2u) << preset;
  }
}

struct DAMAGE {
  const char *from;
  const char *to;
  const char *said;
};

TEST(ControllerFile, IsCheckedBeforeItIsUsed) {
  Client client;
  client.output({"sim", "new", "--preset", "demo", "lab.json"});
  std::string whole = client.read("lab.json");
  const DAMAGE damages[] = {
      {"\"format\": 1", "\"format\": 2", "its format is 2, this program knows format 1"},
      {"\"format\": 1", "\"format\": \"1\"", "format: a whole number from 0 to 4294967295 is wanted"},
      {"\"format\"", "\"form\"", "\"format\" is missing"},
      {"\"adapter\": {", "\"adapter\": [", "it is no JSON: parse error at line"},
      {"\"maxLds\": 64", "\"maxLds\": \"64\"", "adapter.maxLds: a whole number from 0 to 4294967295 is wanted"},
      {"\"maxLds\": 64", "\"maxLds\": -1", "adapter.maxLds: a whole number"},
      {"\"maxLds\": 64", "\"maxLds\": 6.5", "adapter.maxLds: a whole number"},
      {"\"maxLds\": 64", "\"maxLds\": 4294967296", "adapter.maxLds: a whole number"},
      {"\"pciBus\": 3", "\"pciBus\": 256", "adapter.pciBus: a whole number from 0 to 255 is wanted"},
      {"\"maxLds\"", "\"maxVds\"", "adapter.maxLds: this member is missing"},
      {"\"maxLds\": 64", "\"maxLds\": 64, \"extra\": 1", "adapter.extra: there is no such member"},
      {"\"embedded\": true", "\"embedded\": 1", "adapter.embedded: true or false is wanted"},
      {"\"wwn\": \"0x5EEDADA000001000\"", "\"wwn\": \"0x15EEDADA000001000\"", "adapter.wwn: \"0x\" and 1 to 16"},
      {"\"wwn\": \"0x5EEDADA000001000\"", "\"wwn\": \"5EED\"", "adapter.wwn: \"0x\" and 1 to 16"},
      {"\"SATA\",", "\"FLOPPY\",", "adapter.supportedDiskProtocols[0]: 'FLOPPY' is no value of this member"},
      {"\"state\": \"Online\"", "\"state\": true", "disks[0].state: a whole number"},
      {"\"state\": \"Online\"", "\"state\": \"Asleep\"", "disks[0].state: 'Asleep' is no value"},
      {"\"serviceTag\": \"", "\"serviceTag\": \"12345678901", "enclosures[0].serviceTag: at most 10 characters"},
      {"\"serviceTag\": \"", "\"serviceTag\": \"\\u0000", "enclosures[0].serviceTag: it holds a character"},
      {"\"enclosures\": [", "\"enclosures\": [7,", "enclosures[0]: an object is wanted"},
      {"\"objectId\": 1002,", "\"objectId\": 1001,", "lab.json': "}, // the controller's own check
  };
  for (const DAMAGE &damage : damages) {
    client.write("lab.json", whole);
    client.edit("lab.json", damage.from, damage.to);
    RUN run = client.run({"get", "--controller", "lab.json"});
    EXPECT_EQ(run.code, 4) << damage.to;
    EXPECT_NE(run.error.find(damage.said), std::string::npos) << damage.said << "\n" << run.error;
    EXPECT_EQ(run.error.find("xyl: cannot use 'lab.json': "), 0u) << run.error;
    EXPECT_EQ(run.error.find('\n'), run.error.size() - 1) << run.error;
    EXPECT_EQ(run.out, "") << damage.to;
  }
  // Cut at places all over the file it is never taken for a whole one.
  for (size_t length = 0; length + 2 < whole.size(); length += 4999) {
    client.write("lab.json", whole.substr(0, length));
    EXPECT_EQ(client.run({"list", "--controller", "lab.json"}).code, 4) << length;
  }
}

TEST(ControllerFile, IsReplacedInOneStep) {
  Client client;
  client.output({"sim", "new", "--preset", "demo", "real.json"});
  client.output({"get", "--preset", "demo", "-o", "saved.xml"});
  client.edit("real.json", "\"value\": 30", "\"value\": 31");
  client.link("real.json", "lab.json");
  std::string before = client.read("real.json");
  // A link stays one.
  client.output({"replace", "saved.xml", "--controller", "lab.json"});
  EXPECT_NE(client.read("real.json"), before);
  EXPECT_EQ(client.read("lab.json"), client.read("real.json"));
  EXPECT_EQ(client.fileCount(), 3u);
  // What is no regular file is written to, not replaced.
  EXPECT_EQ(client.output({"get", "--preset", "demo", "-o", "/dev/stdout"}), client.read("saved.xml"));
}
