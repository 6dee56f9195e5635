#include "host/common/guarded.h"

#include <new>

#include "host/common/errors.h"

namespace xyl::host {

client::Result guarded(const client::Front &front, const std::function<client::Result()> &work) {
  try {
    return work();
  } catch (const UsageError &error) {
    client::complain(&front, "%a", error.what());
    return client::wrongUsage();
  } catch (const ClientError &error) {
    client::complain(&front, "%a", error.what());
    return {error.status == EFI_NOT_FOUND ? client::outcomeNotFound : client::outcomeFailed, error.status};
  } catch (const std::bad_alloc &) {
    client::complain(&front, "there is not enough memory");
    return client::failed(EFI_OUT_OF_RESOURCES);
  }
}

} // namespace xyl::host
