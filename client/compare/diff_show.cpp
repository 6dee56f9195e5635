// diff: the differences of two documents, or of one and the controller.
#include "base/pool.h"
#include "base/text.h"
#include "client/compare/compare.h"
#include "client/controllers/controllers.h"
#include "client/documents/documents.h"
#include "client/output/output.h"

void sayDifference(const XYL_FRONT *front, const DIFFERENCE &difference) {
  const CHAR8 *oldText = orNone(textOf(difference.Old));
  const CHAR8 *newText = orNone(textOf(difference.New));
  // Lists may be longer than a formatted line.
  sayText(front, textOf(difference.Name));
  sayText(front, " ");
  sayText(front, differenceKindName(difference.Kind));
  sayText(front, difference.Element != nullptr ? ", " : "");
  sayText(front, textOf(difference.What));
  sayText(front, ": ");
  if (difference.Kind != DIFFERENCE_ADDED) {
    sayText(front, oldText);
  }
  if (difference.Kind != DIFFERENCE_ADDED && difference.Kind != DIFFERENCE_REMOVED) {
    sayText(front, " -> ");
  }
  if (difference.Kind != DIFFERENCE_REMOVED) {
    sayText(front, newText);
  }
  say(front, "\n");
}

static void sayDifferences(const XYL_FRONT *front, const DIFFERENCES &differences) {
  for (UINT32 i = 0; i < differences.All.count; ++i) {
    sayDifference(front, differences.All.items[i]);
  }
  if (differences.All.count == 0) {
    say(front, "no difference\n");
  } else {
    say(front, "differences: %d\n", differences.All.count);
  }
}

static void writeId(JSON *json, const CHAR8 *name, const XML_NODE *node) {
  if (node != nullptr) {
    jsonNumber(json, name, parseDecimal(childText(node, "ObjectID")));
  } else {
    jsonNull(json, name);
  }
}

void writeDifference(JSON *json, const DIFFERENCE &difference) {
  jsonObject(json, nullptr);
  jsonText(json, "kind", differenceKindName(difference.Kind));
  jsonText(json, "object", differenceObjectName(difference.Object));
  jsonText(json, "name", textOf(difference.Name));
  writeId(json, "oldId", difference.OldNode);
  writeId(json, "newId", difference.NewNode);
  if (difference.Element != nullptr) {
    jsonText(json, "element", difference.Element);
    jsonText(json, "what", textOf(difference.What));
  }
  jsonText(json, "old", textOf(difference.Old));
  jsonText(json, "new", textOf(difference.New));
  jsonEnd(json);
}

// The controller is null where two documents are compared.
static void writeDifferences(const XYL_FRONT *front, const CONTROLLER *controller, const DIFFERENCES &differences) {
  JSON json = {};
  json.Front = front;
  jsonObject(&json, nullptr);
  jsonArray(&json, "differences");
  for (UINT32 i = 0; i < differences.All.count; ++i) {
    writeDifference(&json, differences.All.items[i]);
  }
  jsonEnd(&json);
  if (controller != nullptr) {
    writeIdentity(&json, controller->Identity);
  }
  jsonEnd(&json);
}

// The two documents of the command.
struct DIFF_DOCUMENTS {
  CONTROLLER Controller; // where the second one is its inventory
  const CHAR8 *Names[2];
  DOCUMENT_TEXT Texts[2];
  XML_NODE *Roots[2];
};

static XYL_RESULT readDocuments(const XYL_CONTEXT &context, DIFF_DOCUMENTS *documents) {
  for (UINTN i = 0; i < 2; ++i) {
    XYL_RESULT result;
    if (i < context.Request->OperandCount) {
      documents->Names[i] = context.Request->Operands[i];
      result = readDocument(context, documents->Names[i], &documents->Texts[i]);
    } else {
      documents->Names[i] = "the inventory";
      result = openController(context, &documents->Controller);
      if (!isFailure(result)) {
        bool isWhole = true;
        result = readToldInventory(context, documents->Controller, &documents->Texts[i], &isWhole);
      }
    }
    if (!isFailure(result)) {
      result = parseTree(context, documents->Names[i], documents->Texts[i].Text, &documents->Roots[i]);
    }
    if (!isFailure(result) && adapterOf(documents->Roots[i]) == nullptr) {
      complain(context.Front, "%a has no adapter, so it is no configuration document; 'xyl get -o FILE' writes one",
               documents->Names[i]);
      result = failed(EFI_INVALID_PARAMETER, XYL_REASON_DOCUMENT);
    }
    if (isFailure(result)) {
      return result;
    }
  }
  return succeeded();
}

static XYL_RESULT compare(const XYL_CONTEXT &context, const DIFF_DOCUMENTS &documents) {
  DIFFERENCES differences;
  const CONTROLLER *controller = documents.Controller.Operations == nullptr ? nullptr : &documents.Controller;
  EFI_STATUS status = diffDocuments(documents.Roots[0], documents.Roots[1], &differences);
  XYL_RESULT result = differences.All.count == 0 ? succeeded() : different();
  if (EFI_ERROR(status)) {
    complain(context.Front, "the documents cannot be compared: %a", statusWords(status));
    result = failed(status);
  } else if (hasOption(context, XYL_OPTION_JSON)) {
    writeDifferences(context.Front, controller, differences);
  } else {
    if (controller != nullptr) {
      say(context.Front, "Controller: ");
      sayIdentity(context.Front, controller->Identity);
      say(context.Front, "\n");
    }
    sayDifferences(context.Front, differences);
  }
  freeDifferences(&differences);
  return result;
}

XYL_RESULT runDiff(const XYL_CONTEXT &context) {
  DIFF_DOCUMENTS documents = {};
  XYL_RESULT result = readDocuments(context, &documents);
  if (!isFailure(result)) {
    result = compare(context, documents);
  }
  for (UINTN i = 0; i < 2; ++i) {
    freeTree(documents.Roots[i]);
    releaseDocument(&documents.Texts[i]);
  }
  return result;
}
