// Kept controllers of any bytes: files of the client, and documents that describe one. What is taken is consistent, and
// kept again as the same.

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/pure.h"
#include "host/controller_file/controller_file.h"
#include "host/controller_file/controller_state.h"
#include "host/controller_file/state_json.h"
#include "tests/support/memory_front.h"

// A file in memory that has a name.
static std::string storeFile(const std::string &text) {
  static const int file = memfd_create("controller", 0);
  bool isStored =
      ftruncate(file, 0) == 0 && pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
  mustHold(isStored, "no file");
  return "/proc/self/fd/" + std::to_string(file);
}

static Json stateOf(sim::Controller &sim) {
  STATE_WRITER writer;
  writer.json["format"] = 2;
  visitController(writer, sim);
  return writer.json;
}

static SIM_OWNER load(const std::string &text) {
  try {
    return loadController(storeFile(text));
  } catch (const CLIENT_ERROR &error) {
    std::string what = error.what();
    mustHold(EFI_ERROR(error.status) && what.starts_with("cannot use '") && what.find('\n') == what.npos,
             "message: " + what);
    return nullptr;
  }
}

static SIM_OWNER make(const std::string &text) {
  MemoryFront memory;
  memory.files["saved.xml"] = text;
  XYL_FRONT front = memory.as(XYL_FRONT_HOST);
  XYL_REQUEST request = {};
  SIM_OWNER owner;
  try {
    XYL_RESULT result = makeFromDocument({&front, &request}, "saved.xml", &owner);
    mustHold(isFailure(result) == (owner == nullptr), "a controller of a failure");
  } catch (const CLIENT_ERROR &error) {
    mustHold(EFI_ERROR(error.status), "a failure without status");
    owner = nullptr;
  }
  return owner;
}

constexpr UINT64 CONTROLLER = 4 << 20; // what one holds, at most
constexpr FUZZ_LIMITS LIMITS = {{CONTROLLER, CONTROLLER}, {CONTROLLER, CONTROLLER}, {100000000, 1000000}};

FUZZ_PURE_TARGET(json, LIMITS) {
  std::string text = input.text();
  SIM_OWNER owner = text.starts_with('<') ? make(text) : load(text);
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
