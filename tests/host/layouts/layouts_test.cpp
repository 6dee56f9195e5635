// What others say of layouts: what comes of it, and that nothing of it is left out.
#include "host/layouts/layouts.h"

#include <gtest/gtest.h>

#include "client/ensure/layout.h"
#include "tests/support/memory_front.h"
#include "tests/support/world.h"

using namespace xyl;

static const std::string allOfThem =
    R"({"logical_disks":[{"size_gb":100,"raid_level":"1+0","volume_name":"a<&b","number_of_physical_disks":4,)"
    R"("disk_type":"ssd","interface_type":"sas","share_physical_disks":false,"is_root_volume":false},)"
    R"({"size_gb":"MAX","raid_level":"5"}]})";

static std::string mistakesOf(const std::string &text) {
  host::layouts::Translation translation = host::layouts::translateTargetConfig(text);
  EXPECT_EQ(translation.document.empty(), !translation.mistakes.empty());
  std::string all;
  for (const std::string &line : translation.mistakes) {
    all += (all.empty() ? "" : "|") + line;
  }
  return all;
}

TEST(TargetConfigs, SayWhatALayoutSays) {
  EXPECT_EQ(host::layouts::translateTargetConfig(allOfThem).document, R"(<?xml version="1.0" encoding="UTF-8"?>
<RaidLayout>
  <VD>
    <Name>a&lt;&amp;b</Name>
    <RAIDLevel>RAID 10</RAIDLevel>
    <Disks>
      <Count>4</Count>
      <Medium>SSD</Medium>
      <Protocol>SAS</Protocol>
    </Disks>
    <Size>100GiB</Size>
  </VD>
  <VD>
    <Name>volume-2</Name>
    <RAIDLevel>RAID 5</RAIDLevel>
    <Size>all</Size>
  </VD>
</RaidLayout>
)");
}

// The words of both languages that mean the same, as the layout's reader takes them.
TEST(TargetConfigs, AreLayouts) {
  World world{"demo"};
  MemoryFront memory;
  client::Front front = memory.as(client::frontHost);
  client::Request request = {};
  auto read = [&](const std::string &fields, client::ensure::Layout *layout) {
    std::string text = R"({"logical_disks":[{"size_gb":3,)" + fields + "}]}";
    std::string document = host::layouts::translateTargetConfig(text).document;
    EXPECT_FALSE(client::isFailure(client::ensure::readLayout({&front, &request}, "x", document.c_str(), layout)))
        << fields << memory.errors;
    EXPECT_EQ(layout->virtualDisks.count, 1u);
    return layout->virtualDisks.items[0];
  };
  static const std::vector<std::pair<std::string, UINT32>> levels = {
      {"0", RAID_LEVEL_0}, {"1", RAID_LEVEL_1},    {"2", RAID_LEVEL_2},    {"5", RAID_LEVEL_5},
      {"6", RAID_LEVEL_6}, {"1+0", RAID_LEVEL_10}, {"5+0", RAID_LEVEL_50}, {"6+0", RAID_LEVEL_60}};
  for (const auto &[word, level] : levels) {
    client::ensure::Layout layout;
    EXPECT_EQ(read("\"raid_level\":\"" + word + "\"", &layout).level, level);
    EXPECT_EQ(layout.virtualDisks.items[0].size, 3ULL << 30);
  }
  static const std::vector<std::pair<std::string, UINT32>> buses = {
      {"sata", RAID_PROTOCOL_SATA}, {"sas", RAID_PROTOCOL_SAS}, {"scsi", RAID_PROTOCOL_SCSI}};
  for (const auto &[word, bus] : buses) {
    client::ensure::Layout layout;
    EXPECT_EQ(read(R"("raid_level":"1","disk_type":"hdd","interface_type":")" + word + "\"", &layout).disks.protocol,
              bus);
    EXPECT_EQ(layout.virtualDisks.items[0].disks.medium, static_cast<UINT32>(RAID_LEVEL_ATTRIBUTE_HDD));
  }
}

TEST(TargetConfigs, LoseNothing) {
  static const struct {
    std::string from, to; // one place is changed; nothing: the whole
    std::string mistakes;
  } rows[] = {
      {"", "{",
       "no JSON: parse error at line 1, column 2: syntax error while parsing object key - unexpected end of "
       "input; expected string literal"},
      {"\"MAX\"", "1e400", "no JSON: number overflow parsing '1e400'"},
      {"", "[]", "it is no target_raid_config, an object with logical_disks"},
      {"", std::string(100000, '[') + std::string(100000, ']'), "it is nested too deep for a target_raid_config"},
      {"", R"({"logical_disks":{}})", "logical_disks: it is an array, not {}"},
      {"{\"logical_disks\"", "{\"raid\":1,\"logical_disks\"",
       "raid: a target_raid_config has logical_disks and nothing else"},
      {"\"MAX\",", "\"MAX\",\"size_gb\":7,", "the key \"size_gb\" stands twice in one object"},
      {"{\"size_gb\":\"MAX\",\"raid_level\":\"5\"}", "7", "logical_disks[1]: it is an object, not 7"},
      {"\"MAX\"", "\"max\"", "logical_disks[1].size_gb: it is a whole number of GiB or \"MAX\", not \"max\""},
      {"\"MAX\"", "0", "logical_disks[1].size_gb: it is a whole number of GiB or \"MAX\", not 0"},
      {"\"MAX\"", "1.5", "logical_disks[1].size_gb: it is a whole number of GiB or \"MAX\", not 1.5"},
      {"\"MAX\"", "900000001", "logical_disks[1].size_gb: it is a whole number of GiB or \"MAX\", not 900000001"},
      {"\"size_gb\":\"MAX\",", "", "logical_disks[1]: size_gb is missing"},
      {",\"raid_level\":\"5\"", "", "logical_disks[1]: raid_level is missing"},
      {"\"5\"", "5", "logical_disks[1].raid_level: it is one of 0, 1, 1+0, 2, 5, 5+0, 6, 6+0, not 5"},
      {"\"5\"", "\"JBOD\"",
       "logical_disks[1].raid_level: disks outside of virtual disks are nothing that a layout says"},
      {"\"5\"", "\"5\",\"volume_name\":\"a<&b\"", "logical_disks[1]: its name 'a<&b' is that of logical_disks[0], too"},
      {"a<&b", "\xC3\xA4",
       "logical_disks[0].volume_name: it is a text of 1 to 63 characters of plain ASCII, not "
       "\"\\u00e4\""},
      {"a<&b", "  ", "logical_disks[0].volume_name: it is a text of 1 to 63 characters of plain ASCII, not \"  \""},
      {"a<&b", std::string(64, 'x'),
       "logical_disks[0].volume_name: it is a text of 1 to 63 characters of plain ASCII, "
       "not \"" +
           std::string(59, 'x') + "..."},
      {":4", ":\"4\"", "logical_disks[0].number_of_physical_disks: it is a number from 1 to 65535, not \"4\""},
      {":4", ":65536", "logical_disks[0].number_of_physical_disks: it is a number from 1 to 65535, not 65536"},
      {"ssd", "nvme", "logical_disks[0].disk_type: it is one of hdd, ssd, not \"nvme\""},
      {"\"sas\"", "\"nvme\"", "logical_disks[0].interface_type: it is one of sas, sata, scsi, not \"nvme\""},
      {"_disks\":false", "_disks\":\"no\"", "logical_disks[0].share_physical_disks: it is true or false, not \"no\""},
      {"_disks\":false", "_disks\":true", ""},
      {"volume\":false", "volume\":0", "logical_disks[0].is_root_volume: it is true or false, not 0"},
      {"volume\":false", "volume\":true,\"stripe\":1,\"controller\":\"c\",\"physical_disks\":[\"1\"]",
       "logical_disks[0].controller: a layout is for any controller; choose one with -c|"
       "logical_disks[0].is_root_volume: what a machine starts from is nothing that a layout says|"
       "logical_disks[0].physical_disks: a layout says of which kind disks are, not which ones|"
       "logical_disks[0].stripe: nobody knows what this means"},
  };
  for (const auto &row : rows) {
    std::string text = row.from.empty() ? row.to : allOfThem;
    size_t at = row.from.empty() ? 0 : text.find(row.from);
    ASSERT_NE(at, std::string::npos) << row.from;
    text.replace(at, row.from.size(), row.from.empty() ? "" : row.to);
    EXPECT_EQ(mistakesOf(text), row.mistakes) << row.to.substr(0, 100);
  }
}
