// Parse with FreeNode, and Serialize, against the peers and over documents of growing size.
#include <benchmark/benchmark.h>

#include <deque>
#include <functional>

#include "bench/benches.h"
#include "bench/peers.h"

static constexpr size_t largeText = 16U << 20;

static std::string documentOf(const ControllerKind &kind) {
  return MeasuredWorld(kind).document();
}

// The inventory of as many enclosures as make a text of at least largeText bytes.
static std::string largeDocument() {
  ControllerKind kind = {nullptr, 24, 240, 64};
  std::string text;
  do {
    kind.enclosures += 8;
    text = documentOf(kind);
  } while (text.size() < largeText);
  return text;
}

// Runs the routine over and over; what one run takes from the pool is counted before.
static void measure(benchmark::State &state, MeasuredWorld &world, size_t textBytes, const std::function<void()> &run) {
  run();
  world.resetCounts();
  run();
  state.counters["allocations"] = static_cast<double>(world.counts().allocations);
  state.counters["peak_bytes"] = static_cast<double>(world.counts().peakBytes);
  state.counters["text_bytes"] = static_cast<double>(textBytes);
  for (auto _ : state) {
    run();
  }
}

static void parse(benchmark::State &state, const XmlPeer &peer, const std::string &text) {
  MeasuredWorld world;
  g_service = world.xml;
  measure(state, world, text.size(), [&] { peer.unload(peer.load(text)); });
}

static void serialize(benchmark::State &state, const XmlPeer &peer, const std::string &text) {
  MeasuredWorld world;
  g_service = world.xml;
  void *tree = peer.load(text);
  measure(state, world, text.size(), [&] { benchmark::DoNotOptimize(peer.write(tree)); });
  peer.unload(tree);
}

// The text stays for as long as the program.
static void add(const std::string &group, const std::string &size, const XmlPeer &peer, const std::string &text) {
  benchmark::RegisterBenchmark((group + "/parse/" + size + "/" + peer.name).c_str(), parse, peer, std::cref(text));
  benchmark::RegisterBenchmark((group + "/serialize/" + size + "/" + peer.name).c_str(), serialize, peer,
                               std::cref(text));
}

void addXmlBenches() {
  static const std::pair<const char *, std::string> documents[] = {
      {"demo", documentOf({"demo", 0, 0, 0})},
      {"large", documentOf({"large", 0, 0, 0})},
      {"16 MiB", largeDocument()},
  };
  for (const auto &[name, text] : documents) {
    for (const XmlPeer &peer : g_peers) {
      add("xml", name, peer, text);
    }
  }
  static std::deque<std::string> growing;
  for (UINT32 slots : growingSlots) {
    growing.push_back(documentOf({nullptr, growingEnclosures, slots, 0}));
    for (const XmlPeer &peer : g_peers) {
      if (std::string(peer.name) == "ours" || std::string(peer.name) == "pugixml, utf-8") {
        add("growth", std::to_string(slots * growingEnclosures), peer, growing.back());
      }
    }
  }
}
