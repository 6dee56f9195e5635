// How the time of restores, changes and the client's comparisons grows with disks, ids and methods.
#include <benchmark/benchmark.h>

#include "base/pool.h"
#include "bench/benches.h"
#include "bench/growing_controller.h"
#include "client/compare/compare.h"
#include "client/plan/plan_facts.h"
#include "driver/request/request.h"
#include "driver/restore/restore.h"

using namespace xyl;
using namespace xyl::client;

static const char *const rebuild = "<RunMode><Mode>Restore</Mode><Raid><PreserveVDConfig>False</PreserveVDConfig>"
                                   "</Raid></RunMode>";
static const char *const normal = "<RunMode><Mode>Normal</Mode></RunMode>";

// Disks that are hot spares, each in a place of its own, and a virtual disk on each.
static void addPlacedDisks(Answers &answers, UINT32 count) {
  addDisks(answers, count, 0);
  for (UINT32 i = 0; i < count; ++i) {
    RAID_PD_RECORD &disk = answers.disks[i];
    disk.EnclosureObjectID = i >> 8;
    disk.Slot = static_cast<UINT8>(i);
    disk.Hotspare = 2;
    disk.Size = disk.WWN = 1 + i;
  }
  addVirtualDisks(answers, count, 1);
  answers.ids.resize(count);
  for (UINT32 i = 0; i < count; ++i) {
    answers.ids[i] = i;
    answers.virtualDisks[i].PDs = &answers.ids[i];
  }
}

static void stay(Answers &) {}

static void move(Answers &answers) {
  for (RAID_PD_RECORD &disk : answers.disks) {
    disk.EnclosureObjectID += 1000;
  }
}

static void shrink(Answers &answers) {
  for (RAID_PD_RECORD &disk : answers.disks) {
    disk.Size -= 1;
    disk.EnclosureObjectID += 1000;
  }
}

// What becomes of the controller between the saving and the operation.
struct Story {
  const char *name;
  void (*happens)(Answers &answers);
};

static const Story g_stories[] = {
    {"disks in their places", stay}, {"disks elsewhere", move}, {"disks too small", shrink}};

static void restore(benchmark::State &state, const Story &story, UINT32 count) {
  GrowingController controller(addPlacedDisks, count);
  MeasuredWorld world(controller.protocol());
  std::string saved = world.document();
  story.happens(controller.answers);
  measureGrowth(state, [&] { return world.set(rebuild, saved, {}); });
}

struct GrowingRequest {
  const char *name;
  const char *before, *element, *behind;
};

static const GrowingRequest g_requests[] = {
    {"ids of a method", "<Method name='Change'><ObjectType>Virtual Disk</ObjectType>", "<OID>9000000</OID>",
     "<Object><VD/></Object></Method>"},
    {"methods", "", "<Method name='Identify'><ObjectType>Adapter</ObjectType></Method>", ""},
};

static void change(benchmark::State &state, const GrowingRequest &row, UINT32 count) {
  GrowingController controller(addPlacedDisks, count);
  MeasuredWorld world(controller.protocol());
  std::string saved = world.document();
  std::string request = std::string("<raidData>") + row.before;
  for (UINT32 i = 0; i < count; ++i) {
    request += row.element;
  }
  request += std::string(row.behind) + "</raidData>";
  measureGrowth(state, [&] { return world.set(normal, saved, request); });
}

static void diff(benchmark::State &state, const Story &story, UINT32 count) {
  GrowingController controller(addPlacedDisks, count);
  MeasuredWorld world(controller.protocol());
  XML_NODE *roots[2] = {};
  std::string texts[2] = {world.document()};
  story.happens(controller.answers);
  texts[1] = world.document();
  for (int i = 0; i < 2; ++i) {
    mustSucceed(world.xml->Parse(world.xml, texts[i].c_str(), &roots[i]), "parse");
  }
  measureGrowth(state, [&] {
    double start = cpuSeconds();
    Differences differences;
    mustSucceed(diffDocuments(roots[0], roots[1], &differences), "diff");
    freeDifferences(&differences);
    return cpuSeconds() - start;
  });
  world.xml->FreeNode(world.xml, roots[0]);
  world.xml->FreeNode(world.xml, roots[1]);
}

// A plan with the reasons for all disks.
static void plan(benchmark::State &state, const Story &story, UINT32 count) {
  GrowingController controller(addPlacedDisks, count);
  MeasuredWorld world(controller.protocol());
  std::string text = world.document();
  RAID_CONFIG *config = nullptr;
  UINT32 configs = 1;
  XML_NODE *root = nullptr;
  mustSucceed(driver::ParseXMLBlob(text.c_str(), &config, &configs), "parse");
  mustSucceed(world.xml->Parse(world.xml, text.c_str(), &root), "parse");
  const SavedDocument saved = {config, root};
  story.happens(controller.answers);
  measureGrowth(state, [&] {
    double start = cpuSeconds();
    RestorePlan made;
    mustSucceed(planRestore(&controller.protocol(), saved, driver::RUN_MODE_RESTORE, &made), "plan");
    benchmark::DoNotOptimize(isPlanComplete(made));
    for (UINT32 i = 0; i < count; ++i) {
      Text reason = {};
      putDiskReason(&reason, made, i);
      freeText(&reason);
    }
    freePlan(&made);
    return cpuSeconds() - start;
  });
  driver::releaseConfig(config);
  world.xml->FreeNode(world.xml, root);
}

void addChangeBenches() {
  for (const Story &story : g_stories) {
    addGrowth("restore", restore, story);
    addGrowth("diff", diff, story);
    addGrowth("plan", plan, story);
  }
  for (const GrowingRequest &row : g_requests) {
    addGrowth("change", change, row);
  }
}
