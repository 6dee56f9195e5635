// How time grows with the elements of every kind: in what a controller answers, and in a document.
#include <benchmark/benchmark.h>

#include "bench/benches.h"
#include "bench/growing_controller.h"
#include "xml_protocol.h"

struct ControllerRow {
  const char *name;
  void (*fill)(Answers &answers, UINT32 count);
};

static const ControllerRow g_controllers[] = {
    {"enclosures", addEnclosures},
    {"disks of no enclosure", [](Answers &answers, UINT32 count) { addDisks(answers, count, 0); }},
    {"disks, 20 an enclosure",
     [](Answers &answers, UINT32 count) {
       addEnclosures(answers, count / 20);
       addDisks(answers, count, count / 20);
     }},
    {"disks, one an enclosure",
     [](Answers &answers, UINT32 count) {
       addEnclosures(answers, count);
       addDisks(answers, count, count);
     }},
    {"virtual disks", [](Answers &answers, UINT32 count) { addVirtualDisks(answers, count, 0); }},
    {"disks of a virtual disk", [](Answers &answers, UINT32 count) { addVirtualDisks(answers, 1, count); }},
};

// A document for Verify: what stands around the elements, and one of them.
struct DocumentRow {
  const char *name;
  const char *before;
  const char *element;
  const char *behind;
};

#define RECORD_METHOD(object) "<Method name='Change'><OID>1</OID><Object>" object "</Object></Method>"

static const DocumentRow g_documents[] = {
    {"methods", "", "<Method name='Get'/>", "<Adapter/>"},
    {"methods with a record", "", RECORD_METHOD("<PD><Name>d</Name><VD>1</VD></PD>"), "<Adapter/>"},
    {"methods with a key", "", RECORD_METHOD("<Key><KeyID>k</KeyID><Passphrase>YQ==</Passphrase></Key>"), "<Adapter/>"},
    {"ids of a method", "<Method name='Get'>", "<OID>1</OID>", "</Method><Adapter/>"},
    {"objects of a method", "<Method name='Get'>", "<Object><PD/></Object>", "</Method><Adapter/>"},
    {"key ids", "<Adapter>", "<Keyid>k</Keyid>", "</Adapter>"},
    {"rates", "<Adapter>", "<Rate><Name>r</Name></Rate>", "</Adapter>"},
    {"names", "<Adapter>", "<Name>n</Name>", "</Adapter>"},
    {"items of a mask", "<Adapter><Attributes>", "<Attrib>Bootable</Attrib>", "</Attributes></Adapter>"},
    {"level descriptors", "<Adapter><RAIDLevelParams>", "<RAIDLevelDesc/>", "</RAIDLevelParams></Adapter>"},
    {"unknown elements", "<Adapter>", "<Unknown>u</Unknown>", "</Adapter>"},
    {"elements in each other", "<Adapter>", "<Unknown>", ""}, // closed below
};

static std::string documentOf(const DocumentRow &row, UINT32 count) {
  std::string text = std::string("<raidData>") + row.before;
  for (UINT32 i = 0; i < count; ++i) {
    text += row.element;
  }
  if (*row.behind == 0) {
    for (UINT32 i = 0; i < count; ++i) {
      text += "</Unknown>";
    }
    text += "</Adapter>";
  }
  return text + row.behind + "</raidData>";
}

// --- Runs ---

template <class Routine> static double timed(Routine routine) {
  double start = cpuSeconds();
  routine();
  return cpuSeconds() - start;
}

static void get(benchmark::State &state, const ControllerRow &row, UINT32 count) {
  GrowingController controller(row.fill, count);
  MeasuredWorld world(controller.protocol());
  measureGrowth(state, [&] { return timed([&] { world.get(); }); });
}

// What somebody else has read lives meanwhile.
static void getBesideDocument(benchmark::State &state, const ControllerRow &row, UINT32 count) {
  GrowingController controller(row.fill, count);
  MeasuredWorld world(controller.protocol());
  std::string text = "<raidData>";
  while (text.size() < 8U << 20) {
    text += "<Unknown>u</Unknown>";
  }
  XML_NODE *root = nullptr;
  mustSucceed(world.xml->Parse(world.xml, (text + "</raidData>").c_str(), &root), "Parse");
  measureGrowth(state, [&] { return timed([&] { world.get(); }); });
  world.xml->FreeNode(world.xml, root);
}

static void verifyInventory(benchmark::State &state, const ControllerRow &row, UINT32 count) {
  GrowingController controller(row.fill, count);
  MeasuredWorld world(controller.protocol());
  std::string saved = world.document();
  measureGrowth(state, [&] { return timed([&] { world.verify(saved); }); });
}

static void verifyDocument(benchmark::State &state, const DocumentRow &row, UINT32 count) {
  GrowingController controller([](Answers &, UINT32) {}, 0);
  MeasuredWorld world(controller.protocol());
  std::string saved = documentOf(row, count);
  measureGrowth(state, [&] { return timed([&] { world.verify(saved); }); });
}

void addGrowthBenches() {
  for (const ControllerRow &row : g_controllers) {
    addGrowth("get", get, row);
    addGrowth("verify", verifyInventory, row);
  }
  addGrowth("get beside 8 MiB of another document", getBesideDocument, g_controllers[2]);
  for (const DocumentRow &row : g_documents) {
    addGrowth("verify", verifyDocument, row);
  }
}
