// diff: the differences of two documents, or of one and the controller.
#include "base/pool.h"
#include "base/text.h"
#include "client/compare/compare.h"
#include "client/controllers/controllers.h"
#include "client/documents/documents.h"
#include "client/output/output.h"

namespace xyl::client {

void sayDifference(const Front *front, const Difference &difference) {
  const CHAR8 *oldText = orNone(textOf(difference.older));
  const CHAR8 *newText = orNone(textOf(difference.newer));
  // Lists may be longer than a formatted line.
  sayText(front, textOf(difference.name));
  sayText(front, " ");
  sayText(front, differenceKindName(difference.kind));
  sayText(front, difference.element != nullptr ? ", " : "");
  sayText(front, textOf(difference.what));
  sayText(front, ": ");
  if (difference.kind != differenceAdded) {
    sayText(front, oldText);
  }
  if (difference.kind != differenceAdded && difference.kind != differenceRemoved) {
    sayText(front, " -> ");
  }
  if (difference.kind != differenceRemoved) {
    sayText(front, newText);
  }
  say(front, "\n");
}

static void sayDifferences(const Front *front, const Differences &differences) {
  for (UINT32 i = 0; i < differences.all.count; ++i) {
    sayDifference(front, differences.all.items[i]);
  }
  if (differences.all.count == 0) {
    say(front, "no difference\n");
  } else {
    say(front, "differences: %d\n", differences.all.count);
  }
}

static void writeId(Json *json, const CHAR8 *name, const XML_NODE *node) {
  if (node != nullptr) {
    jsonNumber(json, name, parseDecimal(childText(node, "ObjectID")));
  } else {
    jsonNull(json, name);
  }
}

void writeDifference(Json *json, const Difference &difference) {
  jsonObject(json, nullptr);
  jsonText(json, "kind", differenceKindName(difference.kind));
  jsonText(json, "object", differenceObjectName(difference.object));
  jsonText(json, "name", textOf(difference.name));
  writeId(json, "oldId", difference.oldNode);
  writeId(json, "newId", difference.newNode);
  if (difference.element != nullptr) {
    jsonText(json, "element", difference.element);
    jsonText(json, "what", textOf(difference.what));
  }
  jsonText(json, "old", textOf(difference.older));
  jsonText(json, "new", textOf(difference.newer));
  jsonEnd(json);
}

// The controller is null where two documents are compared.
static void writeDifferences(const Front *front, const Controller *controller, const Differences &differences) {
  Json json = {};
  json.front = front;
  jsonObject(&json, nullptr);
  jsonArray(&json, "differences");
  for (UINT32 i = 0; i < differences.all.count; ++i) {
    writeDifference(&json, differences.all.items[i]);
  }
  jsonEnd(&json);
  if (controller != nullptr) {
    writeIdentity(&json, controller->identity);
  }
  jsonEnd(&json);
}

// The two documents of the command.
struct DiffDocuments {
  Controller controller; // where the second one is its inventory
  const CHAR8 *names[2];
  DocumentText texts[2];
  XML_NODE *roots[2];
};

static Result readDocuments(const Context &context, DiffDocuments *documents) {
  for (UINTN i = 0; i < 2; ++i) {
    Result result;
    if (i < context.request->operandCount) {
      documents->names[i] = context.request->operands[i];
      result = readDocument(context, documents->names[i], &documents->texts[i]);
    } else {
      documents->names[i] = "the inventory";
      result = openController(context, &documents->controller);
      if (!isFailure(result)) {
        bool isWhole = true;
        result = readToldInventory(context, documents->controller, &documents->texts[i], &isWhole);
      }
    }
    if (!isFailure(result)) {
      result = parseTree(context, documents->names[i], documents->texts[i].text, &documents->roots[i]);
    }
    if (!isFailure(result) && adapterOf(documents->roots[i]) == nullptr) {
      complain(context.front, "%a has no adapter, so it is no configuration document; 'xyl get -o FILE' writes one",
               documents->names[i]);
      result = failed(EFI_INVALID_PARAMETER, Reason::document);
    }
    if (isFailure(result)) {
      return result;
    }
  }
  return succeeded();
}

static Result compare(const Context &context, const DiffDocuments &documents) {
  Differences differences;
  const Controller *controller = documents.controller.operations == nullptr ? nullptr : &documents.controller;
  EFI_STATUS status = diffDocuments(documents.roots[0], documents.roots[1], &differences);
  Result result = differences.all.count == 0 ? succeeded() : different();
  if (EFI_ERROR(status)) {
    complain(context.front, "the documents cannot be compared: %a", statusWords(status));
    result = failed(status);
  } else if (hasOption(context, optionJson)) {
    writeDifferences(context.front, controller, differences);
  } else {
    if (controller != nullptr) {
      say(context.front, "Controller: ");
      sayIdentity(context.front, controller->identity);
      say(context.front, "\n");
    }
    sayDifferences(context.front, differences);
  }
  freeDifferences(&differences);
  return result;
}

Result runDiff(const Context &context) {
  DiffDocuments documents = {};
  Result result = readDocuments(context, &documents);
  if (!isFailure(result)) {
    result = compare(context, documents);
  }
  for (UINTN i = 0; i < 2; ++i) {
    freeTree(documents.roots[i]);
    releaseDocument(&documents.texts[i]);
  }
  return result;
}

} // namespace xyl::client
