// import: takes over the virtual disks of another controller.
#include "base/text.h"
#include "xyl/change/change.h"
#include "xyl/verbs/verbs.h"

static constexpr const CHAR8 *IMPORT_DOCUMENT = "<raidData>\n"
                                                "  <Method name=\"Import\">\n"
                                                "    <ObjectType>Adapter</ObjectType>\n"
                                                "  </Method>\n"
                                                "</raidData>\n";

XYL_RESULT runImport(const XYL_CONTEXT &context) {
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  CHANGE_REQUEST request = {"the import",
                            "import",
                            {textDuplicate(IMPORT_DOCUMENT), textLength(IMPORT_DOCUMENT)},
                            /* SavedOf= */ nullptr};
  if (request.Text.Text == nullptr) {
    complain(context.Host, u"there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  return applyChanges(context, controller, request);
}
