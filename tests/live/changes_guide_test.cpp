// The examples of docs/changes.md, taken from the document itself, do what it says.
#include <fstream>
#include <sstream>

#include "tests/support/world.h"

static std::string guide() {
  std::ifstream file(RAIDXYL_SOURCE_DIR "/docs/changes.md");
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// The block that begins with "```xml name".
static std::string example(const std::string &name) {
  std::string text = guide(), open = "```xml " + name + "\n";
  size_t begin = text.find(open);
  EXPECT_NE(begin, std::string::npos) << name;
  begin += open.size();
  return text.substr(begin, text.find("```", begin) - begin);
}

// The numbers in the example's elements of that name.
static std::vector<UINT32> numbers(const std::string &name, const std::string &element) {
  std::string text = example(name), open = "<" + element + ">";
  std::vector<UINT32> found;
  for (size_t at = text.find(open); at != std::string::npos; at = text.find(open, at + 1)) {
    found.push_back(static_cast<UINT32>(std::stoul(text.substr(at + open.size()))));
  }
  return found;
}

static ANSWER applyExample(World &world, const std::string &name, const std::string &saved = {}) {
  std::string options = example("options"), request = example(name);
  return world.set({options.c_str(), saved.empty() ? nullptr : saved.c_str(), request.c_str()});
}

static void expectApplied(World &world, const std::string &name) {
  SCOPED_TRACE(name);
  ANSWER answer = applyExample(world, name);
  EXPECT_EQ(::name(answer.status), ::name(EFI_SUCCESS));
  EXPECT_EQ(countOf(answer.text, "<Status>Success</Status>"), 1u) << answer.text;
  world.expectBalanced();
}

TEST(ChangesGuide, MirrorWithHotSpare) {
  World world("demo");
  std::vector<UINT32> ids = numbers("create-mirror", "OID");
  ANSWER answer = applyExample(world, "create-mirror", world.get().text);
  EXPECT_EQ(name(answer.status), name(EFI_SUCCESS));
  EXPECT_EQ(answer.text + (answer.text.ends_with("\n") ? "" : "\n"), example("create-mirror-log"));
  SIM_DISK *spare = simFindDisk(world.sim, ids[2]);
  ASSERT_EQ(spare->record.VDCount, 1u);
  EXPECT_EQ(spare->record.Hotspare, 1u);
  SIM_VIRTUAL_DISK *volume = simFindVirtualDisk(world.sim, spare->VDs[0]);
  ASSERT_NE(volume, nullptr);
  EXPECT_EQ(std::u16string(volume->Name), u"Builds");
  EXPECT_EQ(volume->record.RAIDLevel, 0x4u);
  EXPECT_EQ(volume->record.StripeSize, 0x80u);
  EXPECT_EQ(volume->record.CurrentCachePolicy, 0x42u);
  EXPECT_EQ(std::vector<UINT32>(volume->PDs, volume->PDs + volume->record.PDCount),
            (std::vector<UINT32>{ids[0], ids[1]}));
  world.expectBalanced();
}

TEST(ChangesGuide, CachePolicyAndDeletion) {
  World world("demo");
  UINT32 id = numbers("cache-policy", "OID").at(0);
  ASSERT_NE(simFindVirtualDisk(world.sim, id), nullptr);
  EXPECT_NE(simFindVirtualDisk(world.sim, id)->record.CurrentCachePolicy, 0x11u);
  expectApplied(world, "cache-policy");
  EXPECT_EQ(simFindVirtualDisk(world.sim, id)->record.CurrentCachePolicy, 0x11u);
  expectApplied(world, "delete-volume");
  EXPECT_EQ(simFindVirtualDisk(world.sim, id), nullptr);
}

TEST(ChangesGuide, ForeignConfiguration) {
  for (const char *name : {"import-foreign", "clear-foreign"}) {
    World world("demo");
    std::vector<UINT32> ids = numbers("create-mirror", "OID");
    UINT32 volumes = world.sim->virtualDisks.count;
    ASSERT_EQ(simMakeForeign(world.sim, /* RAID 1 */ 0x4, ids.data(), 2), EFI_SUCCESS);
    EXPECT_EQ(simFindDisk(world.sim, ids[0])->record.State, RAID_STATE_FOREIGN);
    world.markBalance();
    expectApplied(world, name);
    bool imported = std::string(name) == "import-foreign";
    EXPECT_EQ(world.sim->virtualDisks.count, volumes + (imported ? 1 : 0));
    EXPECT_EQ(simFindDisk(world.sim, ids[0])->record.State, imported ? RAID_STATE_ONLINE : RAID_STATE_READY);
  }
}

TEST(ChangesGuide, SecurityKey) {
  World world("empty");
  auto keyIs = [&](const char *keyId, const char *passphrase) {
    EXPECT_TRUE(world.sim->key.present);
    EXPECT_STREQ(world.sim->key.keyId, keyId);
    EXPECT_STREQ(reinterpret_cast<const char *>(world.sim->key.passphrase), passphrase);
    EXPECT_EQ(world.sim->key.mode, RAID_KEY_MODE_LKM);
  };
  expectApplied(world, "set-key");
  keyIs("rack-7", "correct horse");
  expectApplied(world, "change-key");
  keyIs("rack-7-b", "battery staple");
  expectApplied(world, "remove-key");
  EXPECT_FALSE(world.sim->key.present);
}

// What the tests above run is all there is.
TEST(ChangesGuide, HasNoExampleWithoutATest) {
  EXPECT_EQ(countOf(guide(), "```xml"), 10u);
}
