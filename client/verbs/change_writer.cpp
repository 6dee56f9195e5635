#include "client/verbs/change_writer.h"

#include "base/text.h"

namespace xyl::client {

static void indent(ChangeWriter *writer) {
  for (UINTN i = 0; i < writer->depth; ++i) {
    putText(&writer->text, "  ");
  }
}

static void putEscaped(Text *text, const CHAR8 *content) {
  for (; *content != 0; ++content) {
    const CHAR8 single[2] = {*content, 0};
    const CHAR8 *written = single;
    written = *content == '&' ? "&amp;" : written;
    written = *content == '<' ? "&lt;" : written;
    written = *content == '>' ? "&gt;" : written;
    putText(text, written);
  }
}

static void openTag(ChangeWriter *writer, const CHAR8 *name) {
  indent(writer);
  putText(&writer->text, "<");
  putText(&writer->text, name);
  writer->open[writer->depth++] = name;
}

void openElement(ChangeWriter *writer, const CHAR8 *name) {
  openTag(writer, name);
  putText(&writer->text, ">\n");
}

void closeElement(ChangeWriter *writer) {
  --writer->depth;
  indent(writer);
  putText(&writer->text, "</");
  putText(&writer->text, writer->open[writer->depth]);
  putText(&writer->text, ">\n");
}

void openMethod(ChangeWriter *writer, const CHAR8 *command, const CHAR8 *objectType) {
  if (writer->depth == 0) {
    openElement(writer, "raidData");
  }
  openTag(writer, "Method");
  putText(&writer->text, " name=\"");
  putText(&writer->text, command);
  putText(&writer->text, "\">\n");
  putElement(writer, "ObjectType", objectType);
}

void openObject(ChangeWriter *writer, const CHAR8 *element, const CHAR8 *objectType) {
  openElement(writer, "Object");
  openElement(writer, element);
  putElement(writer, "ObjectType", objectType);
}

void closeMethod(ChangeWriter *writer) {
  while (writer->depth > 1) {
    closeElement(writer);
  }
}

void closeDocument(ChangeWriter *writer) {
  closeMethod(writer);
  closeElement(writer);
}

void putElement(ChangeWriter *writer, const CHAR8 *name, const CHAR8 *text) {
  indent(writer);
  putText(&writer->text, "<");
  putText(&writer->text, name);
  putText(&writer->text, ">");
  putEscaped(&writer->text, text);
  putText(&writer->text, "</");
  putText(&writer->text, name);
  putText(&writer->text, ">\n");
}

void putElement(ChangeWriter *writer, const CHAR8 *name, UINT64 number) {
  CHAR8 digits[21];
  formatDecimal(digits, number);
  putElement(writer, name, digits);
}

} // namespace xyl::client
