#include "host/stage/variables.h"

#include <algorithm>
#include <cstdio>

#include "host/common/common.h"
#include "host/stage/bytes.h"

namespace xyl::host::stage {

namespace {

constexpr size_t attributes = 4;
constexpr char keptAndShared = 7; // non-volatile, boot services, run time

} // namespace

std::filesystem::path Variables::fileOf(const std::string &name, const std::string &vendor) const {
  return folder_ / (name + "-" + vendor);
}

// An empty file is what a run leaves that ended before it had written: the firmware knows no such variable.
std::optional<std::string> Variables::read(const std::string &name, const std::string &vendor) const {
  std::string content;
  EFI_STATUS status = readHostFile(fileOf(name, vendor).string(), &content);
  if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
    throw ClientError(status, "cannot read the firmware's variable " + name + ": " + client::statusWords(status));
  }
  return content.size() < attributes ? std::nullopt : std::optional(content.substr(attributes));
}

void Variables::create(const std::string &name, const std::string &value) {
  if (!read(name)) {
    changes_.removeVariable(fileOf(name, firmwareVendor));
  }
  changes_.createVariable(fileOf(name, firmwareVendor), std::string{keptAndShared, 0, 0, 0} + value);
  if (read(name) != value) {
    throw ClientError(EFI_DEVICE_ERROR, "the firmware took its variable " + name + " and does not keep it");
  }
}

void Variables::remove(const std::string &name, const std::string &vendor) {
  changes_.removeVariable(fileOf(name, vendor));
}

std::optional<uint16_t> Variables::next() const {
  std::optional<std::string> value = read("BootNext");
  return value && value->size() == 2 ? std::optional(static_cast<uint16_t>(numberAt(*value, 0, 2))) : std::nullopt;
}

std::string Variables::optionName(uint16_t number) {
  char name[16];
  std::snprintf(name, sizeof(name), "Boot%04X", number);
  return name;
}

std::vector<uint16_t> Variables::order() const {
  std::vector<uint16_t> numbers;
  std::string value = read("BootOrder").value_or("");
  for (size_t at = 0; at + 1 < value.size(); at += 2) {
    numbers.push_back(static_cast<uint16_t>(numberAt(value, at, 2)));
  }
  return numbers;
}

uint16_t Variables::freeNumber() const {
  std::vector<uint16_t> ordered = order();
  for (uint32_t number = 0; number <= UINT16_MAX; ++number) {
    auto candidate = static_cast<uint16_t>(number);
    if (std::find(ordered.begin(), ordered.end(), candidate) == ordered.end() &&
        !std::filesystem::exists(fileOf(optionName(candidate), firmwareVendor))) {
      return candidate;
    }
  }
  throw ClientError(EFI_OUT_OF_RESOURCES, "the firmware has no free number for a boot option");
}

std::string Variables::orderText() const {
  std::string text;
  for (uint16_t number : order()) {
    text += (text.empty() ? "" : ", ") + optionName(number);
  }
  return text;
}

bool Variables::isSecureBoot() const {
  return read("SecureBoot").value_or("") == std::string(1, 1);
}

} // namespace xyl::host::stage
