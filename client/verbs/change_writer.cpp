#include "client/verbs/change_writer.h"

#include "base/text.h"

static void indent(CHANGE_WRITER *writer) {
  for (UINTN i = 0; i < writer->Depth; ++i) {
    putText(&writer->Text, "  ");
  }
}

static void putEscaped(TEXT *text, const CHAR8 *content) {
  for (; *content != 0; ++content) {
    const CHAR8 single[2] = {*content, 0};
    const CHAR8 *written = single;
    written = *content == '&' ? "&amp;" : written;
    written = *content == '<' ? "&lt;" : written;
    written = *content == '>' ? "&gt;" : written;
    putText(text, written);
  }
}

static void openTag(CHANGE_WRITER *writer, const CHAR8 *name) {
  indent(writer);
  putText(&writer->Text, "<");
  putText(&writer->Text, name);
  writer->Open[writer->Depth++] = name;
}

void openElement(CHANGE_WRITER *writer, const CHAR8 *name) {
  openTag(writer, name);
  putText(&writer->Text, ">\n");
}

void closeElement(CHANGE_WRITER *writer) {
  --writer->Depth;
  indent(writer);
  putText(&writer->Text, "</");
  putText(&writer->Text, writer->Open[writer->Depth]);
  putText(&writer->Text, ">\n");
}

void openMethod(CHANGE_WRITER *writer, const CHAR8 *command, const CHAR8 *objectType) {
  if (writer->Depth == 0) {
    openElement(writer, "raidData");
  }
  openTag(writer, "Method");
  putText(&writer->Text, " name=\"");
  putText(&writer->Text, command);
  putText(&writer->Text, "\">\n");
  putElement(writer, "ObjectType", objectType);
}

void openObject(CHANGE_WRITER *writer, const CHAR8 *element, const CHAR8 *objectType) {
  openElement(writer, "Object");
  openElement(writer, element);
  putElement(writer, "ObjectType", objectType);
}

void closeMethod(CHANGE_WRITER *writer) {
  while (writer->Depth > 1) {
    closeElement(writer);
  }
}

void closeDocument(CHANGE_WRITER *writer) {
  closeMethod(writer);
  closeElement(writer);
}

void putElement(CHANGE_WRITER *writer, const CHAR8 *name, const CHAR8 *text) {
  indent(writer);
  putText(&writer->Text, "<");
  putText(&writer->Text, name);
  putText(&writer->Text, ">");
  putEscaped(&writer->Text, text);
  putText(&writer->Text, "</");
  putText(&writer->Text, name);
  putText(&writer->Text, ">\n");
}

void putElement(CHANGE_WRITER *writer, const CHAR8 *name, UINT64 number) {
  CHAR8 digits[21];
  formatDecimal(digits, number);
  putElement(writer, name, digits);
}
