// The firmware's variables, as files of efivarfs: four bytes of attributes, then the value. They are used as they are
// and not through efibootmgr, which would be one more program to be there, and which writes the boot order.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/stage/changes.h"

namespace xyl::host::stage {

// Those of the firmware's own vendor GUID, unless another one is given.
inline constexpr const char *firmwareVendor = "8be4df61-93ca-11d2-aa0d-00e098032b8c";
inline constexpr const char *mediumVendor = "303ab25c-d761-402c-bfbd-aa155b7bc093"; // images/medium/done.cpp

class Variables {
public:
  Variables(std::filesystem::path folder, Changes &changes) : folder_(std::move(folder)), changes_(changes) {}

  // The value; none when there is no such variable.
  std::optional<std::string> read(const std::string &name, const std::string &vendor = firmwareVendor) const;
  // Makes a variable that stays when the power goes and that firmware and system may read, looks whether it is there
  // then, and throws ClientError when it is not, or one of that name was there.
  void create(const std::string &name, const std::string &value);
  // Nothing happens to one that is not there. Throws ClientError.
  void remove(const std::string &name, const std::string &vendor = firmwareVendor);

  // BootNext: the number of an option.
  std::optional<uint16_t> next() const;
  // "Boot0007".
  static std::string optionName(uint16_t number);
  // The lowest number that is neither an option's nor named by the boot order. Throws ClientError when all are.
  uint16_t freeNumber() const;
  // The options of the boot order, by name.
  std::string orderText() const;
  bool isSecureBoot() const;

private:
  std::filesystem::path fileOf(const std::string &name, const std::string &vendor) const;
  std::vector<uint16_t> order() const;

  std::filesystem::path folder_;
  Changes &changes_;
};

} // namespace xyl::host::stage
