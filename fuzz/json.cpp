// Kept controllers of any bytes: files of the client, and documents that describe one. What is taken is consistent, and
// kept again as the same.

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/pure.h"
#include "host/controller_file/controller_file.h"
#include "host/controller_file/controller_state.h"
#include "host/controller_file/state_json.h"
#include "tests/support/memory_front.h"

using namespace xyl;
using namespace xyl::host;

// A file in memory that has a name.
static std::string storeFile(const std::string &text) {
  static const int file = memfd_create("controller", 0);
  bool isStored =
      ftruncate(file, 0) == 0 && pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
  mustHold(isStored, "no file");
  return "/proc/self/fd/" + std::to_string(file);
}

static Json stateOf(sim::Controller &sim) {
  StateWriter writer;
  writer.json["format"] = 2;
  visitController(writer, sim);
  return writer.json;
}

static SimOwner load(const std::string &text) {
  try {
    return loadController(storeFile(text));
  } catch (const ClientError &error) {
    std::string what = error.what();
    mustHold(EFI_ERROR(error.status) && what.starts_with("cannot use '") && what.find('\n') == what.npos,
             "message: " + what);
    return nullptr;
  }
}

static SimOwner make(const std::string &text) {
  MemoryFront memory;
  memory.files["saved.xml"] = text;
  client::Front front = memory.as(client::frontHost);
  client::Request request = {};
  SimOwner owner;
  try {
    client::Result result = makeFromDocument({&front, &request}, "saved.xml", &owner);
    mustHold(client::isFailure(result) == (owner == nullptr), "a controller of a failure");
  } catch (const ClientError &error) {
    mustHold(EFI_ERROR(error.status), "a failure without status");
    owner = nullptr;
  }
  return owner;
}

constexpr UINT64 controller = 4 << 20; // what one holds, at most
constexpr FuzzLimits limits = {{controller, controller}, {controller, controller}, {100000000, 1000000}};

FUZZ_PURE_TARGET(json, limits) {
  std::string text = input.text();
  SimOwner owner = text.starts_with('<') ? make(text) : load(text);
  if (owner == nullptr) {
    return;
  }
  const CHAR8 *fault = sim::stateFault(owner.get());
  mustHold(fault == nullptr, std::string("a controller that is not consistent: ") + (fault == nullptr ? "" : fault));
  Json kept = stateOf(*owner);
  owner = load(kept.dump(2, ' ', false, Json::error_handler_t::replace));
  mustHold(owner != nullptr, "what was kept is not taken again");
  mustHold(stateOf(*owner) == kept, "another controller than was kept");
}
