// A front of the client whose files and texts are in memory.
#pragma once

#include <map>
#include <string>

#include "client/client.h"

using namespace xyl;

class MemoryFront {
public:
  // The front, with nothing told yet. Nobody is there to be asked. It lasts as long as this.
  client::Front as(client::Fronts kind, const client::Commands &commands = {});

  std::map<std::string, std::string> files; // by name
  std::string out, errors;                  // what was told
};
