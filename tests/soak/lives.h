// Random lives of controllers. What is not as it must be fails the running test; the story so far is kept for that.
#pragma once

#include <map>
#include <string>
#include <vector>

struct SoakFigures {
  std::map<std::string, unsigned long long> counts; // by what was done
  unsigned long long peakPool = 0;                  // bytes
};
extern SoakFigures g_figures;
extern std::vector<std::string> g_story; // the steps of the life that is running
// Counts what was done and goes on with the story.
void tell(const std::string &what, const std::string &story);

// A simulated controller: calls of the protocol against the model, the client, faults, disks that come and go,
// restarts.
void liveSimulated(unsigned long long seed);

// The controller over disks: its commands and the client, writes that fail, disks that are replaced, cuts of the power.
void liveOnDisks(unsigned long long seed);
