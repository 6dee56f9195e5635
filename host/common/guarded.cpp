#include "host/common/guarded.h"

#include <new>

#include "host/common/errors.h"

XYL_RESULT guarded(const XYL_FRONT &front, const std::function<XYL_RESULT()> &work) {
  try {
    return work();
  } catch (const USAGE_ERROR &error) {
    complain(&front, "%a", error.what());
    return wrongUsage();
  } catch (const CLIENT_ERROR &error) {
    complain(&front, "%a", error.what());
    return {error.status == EFI_NOT_FOUND ? XYL_NOT_FOUND : XYL_FAILED, error.status};
  } catch (const std::bad_alloc &) {
    complain(&front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
}
