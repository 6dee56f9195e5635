// A few lives in the usual tests; with SOAK_MINUTES as many as fit, with SOAK_SEED the one of that seed, from which a
// longer run goes on.
#include <chrono>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/soak/lives.h"

SoakFigures g_figures;
std::vector<std::string> g_story;

void tell(const std::string &what, const std::string &story) {
  g_figures.counts[what] += 1;
  g_story.push_back(story);
}

static constexpr unsigned long long lives = 8;

static unsigned long long numberOf(const char *variable, unsigned long long usual) {
  const char *text = std::getenv(variable);
  return text == nullptr ? usual : std::strtoull(text, nullptr, 10);
}

static void printFigures(unsigned long long seconds) {
  std::printf("%llu seconds, at most %llu bytes of pool", seconds, g_figures.peakPool);
  for (const auto &[what, count] : g_figures.counts) {
    std::printf(", %s %llu", what.c_str(), count);
  }
  std::printf("\n");
  std::fflush(stdout);
}

static void live(unsigned long long seed) {
  for (auto *life : {liveSimulated, liveOnDisks}) {
    g_story.clear();
    life(seed);
    if (testing::Test::HasFailure()) {
      std::string story;
      for (const std::string &step : g_story) {
        story += "\n  " + step;
      }
      FAIL() << "SOAK_SEED=" << seed << story;
    }
    g_figures.counts["lives"] += 1;
  }
}

TEST(Soak, LivesOfControllers) {
  using namespace std::chrono;
  auto begin = steady_clock::now();
  unsigned long long minutes = numberOf("SOAK_MINUTES", 0), first = numberOf("SOAK_SEED", 1), told = 0;
  bool isOne = minutes == 0 && std::getenv("SOAK_SEED") != nullptr;
  for (unsigned long long seed = first; !HasFailure(); ++seed) {
    unsigned long long seconds = duration_cast<std::chrono::seconds>(steady_clock::now() - begin).count();
    if (minutes != 0 ? seconds >= minutes * 60 : seed >= first + (isOne ? 1 : lives)) {
      break;
    }
    if (seconds / 60 != told) {
      told = seconds / 60;
      printFigures(seconds);
    }
    live(seed);
  }
  printFigures(duration_cast<std::chrono::seconds>(steady_clock::now() - begin).count());
}
