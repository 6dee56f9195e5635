#include "host/simulator/sim_faults.h"

#include "base/status_text.h"
#include "host/common/common.h"

namespace xyl::host::simulator {

static constexpr driver::VALUE_NAME_TABLE g_faultObjects[] = {
    {"adapter", RAID_OBJECT_ADAPTER},
    {"enclosure", RAID_OBJECT_ENCLOSURE},
    {"pd", RAID_OBJECT_PHYSICAL_DISK},
    {"vd", RAID_OBJECT_VIRTUAL_DISK},
    {nullptr, 0},
};

std::string faultText(const sim::Fault &fault) {
  std::string command =
      fault.command == sim::anyCode ? "command" : driver::GetNameFromValue(fault.command, driver::g_commandTable);
  std::string object = fault.objectType == sim::anyCode
                           ? ""
                           : std::string(":") + driver::GetNameFromValue(fault.objectType, g_faultObjects);
  std::string which = fault.nth == 1 ? "the next " : "number " + std::to_string(fault.nth) + " of the next ";
  const CHAR8 *words = statusText(fault.status);
  std::string what = fault.kind == sim::faultStatus
                         ? std::string(" fails: ") + (words != nullptr ? words : "unknown status")
                         : " has an answer of another shape";
  return which + command + object + (fault.once ? "" : ", and all later ones,") + what;
}

static std::string namesOf(const driver::VALUE_NAME_TABLE *table, UINT64 limit) {
  std::string names;
  for (; table->Name != nullptr && table->Value <= limit; ++table) {
    names += std::string(table->Name) + ", ";
  }
  return names;
}

static UINT32 faultValue(const std::string &name, const driver::VALUE_NAME_TABLE *table, UINT64 limit,
                         const char *what) {
  UINT64 value = normalised(name) == "any" ? sim::anyCode : valueNamed(name, table);
  if (value != sim::anyCode && value > limit) {
    throw UsageError("'" + name + "' is no " + what + "; there are " + namesOf(table, limit) + "any");
  }
  return static_cast<UINT32>(value);
}

client::Result failNext(const Job &job) {
  std::string command = job.operand(1);
  size_t colon = command.find(':');
  std::string object = colon == std::string::npos ? "any" : command.substr(colon + 1);
  // What comes behind GetKeyID is the driver's own business and never reaches the controller.
  sim::Fault fault = {sim::faultStatus,
                      faultValue(command.substr(0, colon), driver::g_commandTable, RAID_COMMAND_GET_KEY_ID, "command"),
                      faultValue(object, g_faultObjects, RAID_OBJECT_VIRTUAL_DISK, "object"),
                      1,
                      /* once= */ true,
                      EFI_DEVICE_ERROR,
                      0};
  if (job.request.operandCount > 2) {
    fault.status = errorNamed(job.operand(2));
    if (fault.status == EFI_SUCCESS) {
      throw UsageError("'" + job.operand(2) +
                       "' is no error status; write one as device-error, not-ready or out-of-resources");
    }
  }
  for (UINT32 i = 0; i < job.sim->faultCount; ++i) {
    const sim::Fault &other = job.sim->faults[i];
    fault.nth += other.once && other.command == fault.command && other.objectType == fault.objectType ? 1 : 0;
  }
  if (!sim::addFault(job.sim, fault)) {
    throw ClientError(EFI_OUT_OF_RESOURCES, std::to_string(sim::faultCapacity) + " faults are pending; 'xyl sim " +
                                                "clear-faults " + job.file() + "' removes them");
  }
  client::say(&job.front, "%a\n", faultText(fault).c_str());
  return client::succeeded();
}

client::Result clearFaults(const Job &job) {
  client::say(&job.front, "removed faults: %u\n", job.sim->faultCount);
  sim::clearFaults(job.sim);
  return client::succeeded();
}

} // namespace xyl::host::simulator
