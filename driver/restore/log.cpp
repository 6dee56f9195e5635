#include "driver/restore/steps.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

constexpr UINTN printPiece = 100;

// Names of operations whose caller gives none.
static constexpr VALUE_NAME_TABLE g_operationTable[] = {
    {"DELETE", RAID_COMMAND_DELETE},
    {"CREATE", RAID_COMMAND_CREATE},
    {"CHANGE", RAID_COMMAND_CHANGE},
    {"IMPORT_FOREIGN", RAID_COMMAND_IMPORT},
    {"CLEAR_FOREIGN", RAID_COMMAND_CLEAR},
    {"LOCK", RAID_COMMAND_LOCK},
    {"SECURE_ERASE", RAID_COMMAND_SECURE_ERASE},
    {"REKEY", RAID_COMMAND_REKEY},
};

static const CHAR8 *flagText(UINT32 runModeFlag, UINT32 flag) {
  return (runModeFlag & flag) != 0 ? "True" : "False";
}

void _RestoreLogInit(UINT32 runModeFlag, RestoreLog *log) {
  static constexpr const CHAR8 *function = "_RestoreLogInit";
  LogPrint(LOG_TRACE, function, "_RestoreLogInit, runMode=%d ", runModeFlag);
  if (log == nullptr) {
    LogPrint(LOG_TRACE, function, "rootNode is NULL ");
    return;
  }
  FreeXMLNode(log->root);
  *log = {};
  getXMLProto();
  if (g_xmlProtocol == nullptr) {
    LogPrint(LOG_TRACE, function, "Error in getXMLProto");
    return;
  }
  log->root = CreateXMLNode("RaidRestore");
  if (log->root == nullptr) {
    LogPrint(LOG_TRACE, function, "Failed to create XML Node");
    return;
  }
  LogBuilder root = {function, log->root, nullptr};
  LogBuilder options = {function, addLogElement(root, CreateXMLNode("Options")), nullptr};
  log->last = root.last;
  if (options.parent == nullptr) {
    return;
  }
  if (addLogElement(options, CreateXMLTextNode("PreserveVD", flagText(runModeFlag, RUN_MODE_PRESERVE_VD)))) {
    addLogElement(options, CreateXMLTextNode("StopOnError", flagText(runModeFlag, RUN_MODE_STOP_ON_ERROR)));
  }
}

// The operation's name for a command, in buffer unless it is a constant.
static const CHAR8 *operationName(const RAID_CMD_BLOCK *block, CHAR8 *buffer) {
  static constexpr CHAR8 generic[] = "GENERIC COMMAND = ";
  UINT32 command = block == nullptr ? UINT32{RAID_COMMAND_NONE} : block->Command;
  for (const VALUE_NAME_TABLE &row : g_operationTable) {
    if (row.Value == command) {
      return row.Name;
    }
  }
  copyBytes(buffer, generic, sizeof generic);
  formatShortHex(buffer + sizeof generic - 1, command);
  return buffer;
}

void _RestoreLogAddProgressNode(const CHAR8 *name, EFI_STATUS status, const RAID_CMD_BLOCK *block, RestoreLog *log) {
  static constexpr const CHAR8 *function = "_RestoreLogAddProgressNode";
  if (log == nullptr || log->root == nullptr) {
    LogPrint(LOG_TRACE, function, "rootNode not initialized ");
    return;
  }
  LogBuilder operation = {function, CreateXMLNode("Operation"), nullptr};
  if (operation.parent == nullptr) {
    LogPrint(LOG_TRACE, function, "Failed to create XML Node");
    return;
  }
  CHAR8 buffer[logTextSize];
  if (name == nullptr) {
    name = operationName(block, buffer);
  }
  LogPrint(LOG_TRACE, function, "AddProgressNode, operation = %a, errCode=%d ", name, static_cast<UINT32>(status));
  AddXMLAttribute("name", name, operation.parent);
  log->last = AppendXMLChildAfter(log->root, log->last, operation.parent);

  const CHAR8 *outcome = status == EFI_SUCCESS ? "Success" : "Fail";
  if (addLogElement(operation, CreateXMLTextNode("Status", outcome)) == nullptr) {
    return;
  }
  CHAR8 code[logTextSize];
  formatShortHex(code, status & ~EFI_ERROR_BIT);
  if (addLogElement(operation, CreateXMLTextNode("ErrorCode", code)) == nullptr) {
    return;
  }
  XML_NODE *detail = addLogElement(operation, CreateXMLNode("Detail"));
  if (detail == nullptr || block == nullptr) {
    return;
  }
  _RestoreLogCreateDetailNode(block, &detail->FirstChild);
  if (detail->FirstChild == nullptr) {
    LogPrint(LOG_TRACE, function, "Failed to create detail XML Node");
  }
}

void PrintRestoreLog(const CHAR8 *text) {
  if (text == nullptr) {
    return;
  }
  CHAR8 piece[printPiece + 1];
  UINTN left = textLength(text);
  for (; left >= printPiece; left -= printPiece, text += printPiece) {
    copyBytes(piece, text, printPiece);
    piece[printPiece] = 0;
    LogPrint(LOG_TRACE, "PrintRestoreLog", "%a", piece);
  }
  LogPrint(LOG_TRACE, "PrintRestoreLog", "%a", text);
}

static bool startsWith(const CHAR8 *text, const CHAR8 *start) {
  for (; *start != 0; ++text, ++start) {
    if (*text != *start) {
      return false;
    }
  }
  return true;
}

// The tag in text that begins with name, which is its root element: what stands before is dropped. Null without one.
static const CHAR8 *rootOf(const CHAR8 *text, const CHAR8 *name) {
  for (; text[0] != 0; ++text) {
    if (startsWith(text + 1, name)) {
      return text;
    }
  }
  return nullptr;
}

// Hands a copy of log over, unless there is no memory for it.
static void handOver(RAID_XYL_BUFFER *output, const CHAR8 *log, UINT8 kind) {
  CHAR8 *copy = textDuplicate(log);
  if (copy == nullptr) {
    LogPrint(LOG_TRACE, "updateResultLog", "Error allocating memory for log data");
    return;
  }
  LogPrint(LOG_TRACE, "updateResultLog", "***** Returning Restore Log in new DataBuffer : *****");
  RAID_XYL_BUFFER *receiver = kind == LOG_KIND_RESTORE ? output : static_cast<RAID_XYL_BUFFER *>(output->Data);
  receiver->Data = copy;
  receiver->Size = static_cast<UINT32>(textLength(copy) + 1);
}

void updateResultLog(RAID_XYL_BUFFER *output, XML_NODE *logRoot, UINT8 kind) {
  if (output == nullptr || logRoot == nullptr) {
    return;
  }
  CHAR8 *text = XMLNodeToText(logRoot);
  if (text == nullptr) {
    return;
  }
  const CHAR8 *log = rootOf(text, kind == LOG_KIND_RESTORE ? "RaidRestore" : "RaidConfig");
  if (log != nullptr) {
    handOver(output, log, kind);
  }
  PrintRestoreLog(log == nullptr ? text : log);
  poolFree(text);
}

} // namespace xyl::driver
