// Saved as a document, changed by what happens to servers, restored: the whole log, element for element.
#include <fstream>
#include <sstream>

#include "tests/live/request_text.h"

static constexpr UINT64 GB = 1000000000ULL;

// Disks of the preset: 1001 and 1002 System, 1003 to 1006 Data and Scratch, 1007 and 1008 hot spares, 1009 and 1010
// encrypting (here Secret), 1011 solid state (here Cache), 1012 to 1015 Archive, 1016 and 1017 Fast. New ones begin
// with 1021.
static void happen(SIM_CONTROLLER *sim) {
  simSetMode(sim, SIM_MODE_COPY_BACK, 0x80);
  simSetMode(sim, SIM_MODE_PATROL_READ, 0x84);
  simSetRate(sim, u"Patrol Read", 99);
  simSwapDisks(sim, 1001, 1009);       // a plain and an encrypting one: no Secret
  simReplaceDisk(sim, 1008, 500 * GB); // too small for a spare
  UINT32 shelf = simFindDisk(sim, 1012)->record.EnclosureObjectID;
  simPullDisk(sim, 1012); // stood in for by a new one elsewhere
  simInsertDisk(sim, shelf, 9, {5000 * GB, 0x10, 1});
  simReplaceDisk(sim, 1011, 100 * GB); // too small: no Cache
  const UINT32 foreign[] = {1018, 1019};
  simMakeForeign(sim, /* RAID 1 */ 4, foreign, 2);
}

// Beside the preset's virtual disks an encrypted one and a cache, and a rate that is not the default.
static void addVolumes(World &world) {
  const char *const secret = "<VD><Name>Secret</Name><RAIDLevel>RAID 1</RAIDLevel><Attributes><Attrib>FDE</Attrib>"
                             "</Attributes></VD>";
  const char *const cache = "<VD><Name>Cache</Name><RAIDLevel>RAID 0</RAIDLevel><Attributes><Attrib>CacheCade</Attrib>"
                            "</Attributes></VD>";
  ANSWER answer = applyRequest(world, method("Create", "Virtual Disk", {1009, 1010}, secret) +
                                          method("Create", "Virtual Disk", {1011}, cache));
  ASSERT_EQ(name(answer.status), name(EFI_SUCCESS)) << answer.text;
  simSetRate(world.sim, u"Patrol Read", 7);
}

TEST(RestoreStory, BringsBackWhatWasSaved) {
  World world("demo");
  addVolumes(world);
  std::string saved = world.get().text;
  happen(world.sim);
  world.markBalance();
  ANSWER answer = world.set({RESTORE_REBUILD, saved.c_str()});
  EXPECT_EQ(name(answer.status), name(EFI_SUCCESS));
  std::stringstream wanted;
  wanted << std::ifstream(RAIDXYL_SOURCE_DIR "/tests/restore/restore_log.xml").rdbuf();
  EXPECT_EQ(answer.text, wanted.str());
  EXPECT_EQ(world.verify(saved).result, 0u);
  EXPECT_FALSE(world.sim->key.present);
  EXPECT_EQ(simStateFault(world.sim), nullptr);
  world.expectBalanced();
}
