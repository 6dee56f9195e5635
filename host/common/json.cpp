#include "host/common/json.h"

static constexpr int DEPTH_MOST = 16;

nlohmann::json readJson(const std::string &text) {
  using Json = nlohmann::json;
  bool isDeep = false;
  auto measure = [&](int depth, Json::parse_event_t, Json &) {
    isDeep = isDeep || depth > DEPTH_MOST;
    return !isDeep;
  };
  Json read = Json::parse(text, measure, /* allow_exceptions= */ false);
  return isDeep ? Json(Json::value_t::discarded) : read;
}
