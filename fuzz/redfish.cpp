// Redfish requests with bodies of any bytes. What is refused is told as JSON with whole messages; what is accepted is a
// change document that the driver reads and runs, whatever the controller says to it.

#include "driver/xml/xml.h"
#include "fuzz/support.h"
#include "host/redfish/request.h"
#include "tests/support/memory_front.h"

using namespace xyl;
using namespace xyl::host::redfish;

// Of the world's controller at its start.
static const Model &startModel() {
  static const Model *made = [] {
    MemoryFront memory;
    client::Front front = memory.as(client::frontHost);
    auto *model = new Model;
    XML_NODE *root = nullptr;
    mustHold(!EFI_ERROR(driver::g_xmlProtocol->Parse(driver::g_xmlProtocol, fuzzWorld().get().text.c_str(), &root)),
             "inventory");
    readRedfishModel(&front, root, model);
    driver::FreeXMLNode(root);
    bool isNamed = driveUri(*model, model->disks[6].object) == "/redfish/v1/Chassis/301/Drives/1007";
    mustHold(isNamed, "the inputs name drives by another URI");
    return model;
  }();
  return *made;
}

static void checkRefusal(const Refusal &refusal) {
  mustHold(!refusal.problems->empty(), "a refusal without a reason");
  for (const Problem &problem : *refusal.problems) {
    mustHold(problemText(problem) != problem.key, std::string("a message that is not known: ") + problem.key);
  }
  std::string body = errorBody(refusal).dump(2, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace);
  mustHold(Json::accept(body), "an answer that is no JSON: " + body);
}

// Any of the URIs that take something, or what the input says.
static std::string uriOf(const Model &model, uint8_t kind, FuzzInput &input) {
  switch (kind) {
  case 0:
    return volumesUri(model);
  case 1:
    return volumeUri(model, model.volumes[0]);
  case 2:
    return volumeUri(model, model.volumes[1]) + "/Actions/Volume.CheckConsistency";
  case 3:
    return driveUri(model, model.disks[6].object);
  case 4:
    return controllerUri(model);
  default:
    return storageUri(model) + input.text();
  }
}

// A document is written to memory that doubles, and a body is kept as a tree that no pool counts.
FUZZ_TARGET(redfish, {{1 << 19, 4096}, {1 << 20, 16384}, {200000000, 1000000}, {64, 8}}) {
  const Model &model = startModel();
  static const Resources resources = makeResources(model);
  uint8_t what = input.byte();
  std::string uri = uriOf(model, what & 7, input), body = input.text();
  client::ChangeWriter writer = {};
  try {
    const char *methods[] = {"POST", "PATCH", "DELETE", "GET"};
    std::vector<Problem> notes;
    putRequest({model, methods[what >> 3 & 3], uri, body}, resources, &writer, &notes);
    if (isEmpty(writer)) {
      return; // it is so already
    }
    client::closeDocument(&writer);
    XML_NODE *root = nullptr;
    mustHold(!EFI_ERROR(driver::g_xmlProtocol->Parse(driver::g_xmlProtocol, client::textOf(writer.text), &root)),
             "accepted, and no document");
    driver::FreeXMLNode(root);
    mustHold(fuzzSet(normal, "", client::textOf(writer.text)) != EFI_UNSUPPORTED, "accepted, and nothing to do");
  } catch (const Refusal &refusal) {
    checkRefusal(refusal);
  }
  client::freeText(&writer.text);
}
