// A thousand random situations: what a plan says of a restore is what the restore then says of itself.
#include <nlohmann/json.hpp>

#include "providers/sim_controller/hand.h"
#include "tests/model/judge.h"
#include "tests/soak/client.h"

using namespace xyl;
using namespace xyl::client;

namespace {

constexpr UINT32 controllers = 250, damages = 4;

class Situations {
public:
  Situations(World &world, const sim::Adapter &pristine, UINT64 seed)
      : random_{seed}, world_(world), sim_(world.sim), client_(world) {
    makeController(sim_, random_, pristine);
    for (UINT8 slot = 0; slot < 6; ++slot) {
      UINT8 kind = random_.chance(20) ? RAID_PD_ATTRIBUTE_FDE : 0;
      sim::insertDisk(sim_, sim::directEnclosure, slot, {600000000000ULL, /* SAS */ 0x20, kind});
    }
    for (UINT32 i = random_.below(12); i-- > 0;) {
      change();
    }
    if (random_.chance(20)) {
      happen(sim_, random_);
    }
    client_.files["a.xml"] = world_.get().text;
  }

  // Damages the controller and lets both tell what comes of it.
  void tell() {
    KeptState whole(sim_);
    for (UINT32 i = random_.below(5); i-- > 0;) {
      damage();
    }
    KeptState before(sim_);
    bool rebuilds = random_.chance(60);
    const std::string options = rebuilds ? " --rebuild" : "";
    Outcome planned = client_.run("plan a.xml --json" + options);
    std::string plan = client_.out;
    EXPECT_TRUE(before.isIn(sim_));
    const std::string restore = "restore a.xml --json --no-backup --yes --discard-foreign";
    if (rebuilds && planned == outcomeDifferent && random_.chance(10)) {
      EXPECT_EQ(client_.run(restore + " --rebuild"), outcomeUsage);
    }
    EXPECT_EQ(client_.run(restore + options + (rebuilds ? " --partial" : "")), planned) << client_.errors;
    outcomes[planned] += 1;
    if (planned <= outcomeDifferent) {
      nlohmann::json told = nlohmann::json::parse(plan), after = nlohmann::json::parse(client_.out);
      EXPECT_EQ(told["verdict"], after["verdict"]);
      EXPECT_EQ(told["complete"], planned == outcomeSuccess);
    }
    whole.putBack(sim_);
  }

  static UINT32 outcomes[outcomeCount];

private:
  void send(UINT32 command, UINT32 objectType, Ids ids, void *data) {
    RAID_CMD_BLOCK block = {};
    RAID_CMD_RESULT result = {};
    block.Revision = 2;
    block.Command = command;
    block.ObjectType = objectType;
    block.ObjectIdCount = static_cast<UINT32>(ids.size());
    block.ObjectIds = ids.data();
    block.ObjectData = data;
    sim_->protocol.Execute(&sim_->protocol, &block, &result);
  }

  UINT32 someDisk() { return sim_->disks.items[random_.below(sim_->disks.count)].record.ObjectID; }

  void create() {
    static constexpr UINT32 levels[] = {RAID_LEVEL_0, RAID_LEVEL_1, RAID_LEVEL_5};
    CHAR16 name[] = {u'v', static_cast<CHAR16>(u'a' + random_.below(26)), 0};
    UINT32 count = 1 + random_.below(3);
    Ids ids;
    for (UINT32 i = 0; i < sim_->disks.count && ids.size() < count; ++i) {
      const RAID_PD_RECORD &disk = sim_->disks.items[i].record;
      if (disk.State == RAID_STATE_READY && disk.Hotspare == 0 && random_.chance(60)) {
        ids.push_back(disk.ObjectID);
      }
    }
    RAID_VD_RECORD virtualDisk = {};
    virtualDisk.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    virtualDisk.RAIDLevel = levels[count - 1];
    virtualDisk.Size = random_.chance(60) ? 100000000000ULL : 0;
    virtualDisk.Name = random_.chance(80) ? name : nullptr;
    for (UINT32 i = 1 + random_.below(2); i-- > 0;) { // two on the same disks
      send(RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, ids, &virtualDisk);
    }
  }

  void makeSpare() {
    RAID_PD_RECORD disk = {};
    UINT32 served = sim_->virtualDisks.count != 0
                        ? sim_->virtualDisks.items[random_.below(sim_->virtualDisks.count)].record.ObjectID
                        : 1;
    disk.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
    disk.Hotspare = static_cast<UINT8>(random_.below(3));
    disk.VDs = &served;
    disk.VDCount = 1;
    send(RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {someDisk()}, &disk);
  }

  void change() {
    UINT32 kind = random_.below(10);
    if (kind < 5) {
      create();
    } else if (kind < 8) {
      makeSpare();
    } else if (kind == 8 && sim_->virtualDisks.count != 0) {
      UINT32 id = sim_->virtualDisks.items[random_.below(sim_->virtualDisks.count)].record.ObjectID;
      send(RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {id}, nullptr);
    } else {
      RAID_KEY_RECORD key = {};
      key.KeyID[0] = 'k';
      key.Passphrase[0] = 'p';
      send(RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, {}, &key);
    }
  }

  void damage() {
    UINT32 kind = random_.below(6);
    if (kind == 0) {
      change();
    } else if (kind == 1 && sim_->pulledDisks.count != 0) {
      const RAID_PD_RECORD &disk = sim_->pulledDisks.items[0].record;
      sim::reinsertDisk(sim_, disk.ObjectID, disk.EnclosureObjectID, disk.Slot);
    } else if (kind == 2) {
      send(RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER, {}, nullptr);
    } else {
      happen(sim_, random_);
    }
  }

  Random random_;
  World &world_;
  sim::Controller *sim_;
  SoakClient client_;
};

UINT32 Situations::outcomes[outcomeCount];

} // namespace

// PLAN_SEED in the environment takes the situations of one controller only.
TEST(Plans, AreWhatRestoresComeTo) {
  World world(WorldOptions{.preset = "empty", .debugLog = false});
  sim::Adapter pristine = shortAdapter(world.sim->adapter);
  const char *only = std::getenv("PLAN_SEED");
  UINT64 first = only == nullptr ? 1 : std::strtoull(only, nullptr, 10);
  for (UINT64 seed = first; seed < first + (only == nullptr ? controllers : 1) && !HasFailure(); ++seed) {
    SCOPED_TRACE("PLAN_SEED=" + std::to_string(seed));
    Situations situations(world, pristine, seed);
    for (UINT32 i = 0; i < damages && !HasFailure(); ++i) {
      situations.tell();
    }
  }
  for (Outcome outcome : {outcomeSuccess, outcomeDifferent, outcomeFailed}) { // each kind of situation was there
    EXPECT_GT(Situations::outcomes[outcome], only == nullptr ? 10U : 0U) << outcome;
  }
}
