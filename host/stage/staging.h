// What stands on the system partition and in the firmware's variables: looking at it, putting it there, taking it back.
#pragma once

#include "host/stage/machine.h"
#include "host/stage/manifest.h"
#include "host/stage/variables.h"

namespace xyl::host::stage {

// The places that staging works on.
struct Site {
  SystemPartition system;
  Variables variables;
  Changes &changes;
};

std::filesystem::path onPartition(const Site &site, const std::string &place);

enum class State {
  nothing,
  foreign, // something that is not ours is in the way
  cut,     // a run was cut off before its end, or the firmware did not start what it was told to
  waiting, // for the machine to boot it
  ran,     // the job began, at least
  fetched, // what it left was taken already, and cleaning up was cut off
};

struct Look {
  State state = State::nothing;
  std::optional<Manifest> manifest; // none of one that was cut at its birth
  std::string foreign;              // what is in the way
  // Files that the job made or changed; with the state Fetched those of them that are safe elsewhere.
  std::vector<StagedFile> left;
};

// Throws ClientError for what cannot be read.
Look lookAt(const Site &site);

// Whether the firmware remembers the job as one that it could not keep anything of.
bool isRemembered(const Site &site, const Manifest &manifest);

// Puts everything there, the order to boot it last. The boot order is not written. Throws ClientError, after which the
// machine is as it was, as far as it can be.
void put(Site *site, const Payload &payload, const Manifest &manifest);

// Notes that what the job left is safe elsewhere; the order to boot it and its image are gone then.
void noteFetched(Site *site, const Look &look);

// Takes everything back that is ours, the order to boot it first, and what the job left, which has to be safe
// elsewhere. What others put there stays, and is returned. Throws ClientError.
std::vector<std::string> takeBack(Site *site, const Look &look);

} // namespace xyl::host::stage
