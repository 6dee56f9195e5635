#include "host/common/json.h"

namespace xyl::host {

static constexpr int depthMost = 16;

nlohmann::json readJson(const std::string &text) {
  using Json = nlohmann::json;
  bool isDeep = false;
  auto measure = [&](int depth, Json::parse_event_t, Json &) {
    isDeep = isDeep || depth > depthMost;
    return !isDeep;
  };
  Json read = Json::parse(text, measure, /* allow_exceptions= */ false);
  return isDeep ? Json(Json::value_t::discarded) : read;
}

} // namespace xyl::host
