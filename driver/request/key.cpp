// Key elements. What is given back of them is overwritten; the texts that they were read from, with their document.
#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"
#include "driver/xml/xml.h"

static constexpr const CHAR8 *GET_KEY = "GetKeyFromXML";

// The two forms of a "Key": one record, or the new and the old key's record.
enum KEY_FORM { KEY_FORM_SINGLE, KEY_FORM_REKEY, KEY_FORM_COUNT };

enum KEY_FIELD : UINT8 { KEY_FIELD_MODE, KEY_FIELD_ID, KEY_FIELD_PASSPHRASE };

struct KEY_ROW {
  const CHAR8 *Element;
  const CHAR8 *LogLine;
  KEY_FIELD Field;
  UINT8 Record;
  const CHAR8 *Refusals[KEY_FORM_COUNT]; // why a form does not take the element; null where it does
};

static constexpr KEY_ROW g_keyRows[] = {
    {"Mode", "Parsing Mode", KEY_FIELD_MODE, 0, {}},
    {"KeyID", "Parsing KeyID", KEY_FIELD_ID, 0, {}},
    {"Passphrase", "Parsing Passphrase", KEY_FIELD_PASSPHRASE, 0, {nullptr, "Passphrase unexpected in rekey method!"}},
    {"OldPassphrase",
     "Parsing OldPassphrase",
     KEY_FIELD_PASSPHRASE,
     1,
     {"OldPassphrase unexpected in key/lock method!", nullptr}},
    {"NewPassphrase",
     "Parsing NewPassphrase",
     KEY_FIELD_PASSPHRASE,
     0,
     {"NewPassphrase unexpected in key/lock method!", nullptr}},
};

static const KEY_ROW *keyRow(const XML_NODE *element) {
  for (const KEY_ROW &row : g_keyRows) {
    if (isNamed(element, row.Element)) {
      return &row;
    }
  }
  return nullptr;
}

static EFI_STATUS readMode(const CHAR8 *text, KEY_FORM form, RAID_KEY_RECORD *key) {
  UINT16 mode = static_cast<UINT16>(key->Mode | GetValueFromName(text, g_keyModeTable));
  if (mode == 0xFFFF) {
    LogPrint(LOG_TRACE, GET_KEY,
             form == KEY_FORM_REKEY ? "Parse Security Mode for rekey method fails"
                                    : "Parse Security Mode for key/lock method fails");
    return EFI_NOT_FOUND;
  }
  key->Mode = mode;
  return EFI_SUCCESS;
}

static EFI_STATUS readPassphrase(const CHAR8 *text, RAID_KEY_RECORD *key) {
  // The field's last byte stays 0: it ends a passphrase of full length.
  if (Base64DecodedLength(text) >= sizeof(key->Passphrase)) {
    return EFI_INVALID_PARAMETER;
  }
  wipeBytes(key->Passphrase, sizeof(key->Passphrase));
  UINT64 length = 0;
  Base64Decode(text, key->Passphrase, &length);
  return EFI_SUCCESS;
}

static EFI_STATUS readKeyField(const XML_NODE *element, const KEY_ROW &row, KEY_FORM form, RAID_KEY_RECORD *keys) {
  LogPrint(LOG_TRACE, GET_KEY, row.LogLine);
  if (row.Refusals[form] != nullptr) {
    LogPrint(LOG_TRACE, GET_KEY, row.Refusals[form]);
    return EFI_INVALID_PARAMETER;
  }
  RAID_KEY_RECORD *key = &keys[row.Record];
  switch (row.Field) { // not taken: every field is a case
  case KEY_FIELD_MODE:
    return readMode(element->Content, form, key);
  case KEY_FIELD_ID:
    copyFixedText(key->KeyID, element->Content, sizeof(key->KeyID));
    return EFI_SUCCESS;
  case KEY_FIELD_PASSPHRASE:
    break;
  }
  return readPassphrase(element->Content, key);
}

static EFI_STATUS readKey(const XML_NODE *element, KEY_FORM form, RAID_KEY_RECORD **keyOut) {
  if (element->FirstChild == nullptr) {
    LogPrint(LOG_TRACE, GET_KEY, "Not a key or rekey!");
    return EFI_INVALID_PARAMETER;
  }
  LogPrint(LOG_TRACE, GET_KEY, form == KEY_FORM_REKEY ? "ReKey" : "Key");
  RAID_KEY_RECORD *keys = newCommandObject<RAID_KEY_RECORD>();
  if (keys == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (const XML_NODE *child = element->FirstChild; child != nullptr; child = child->NextSibling) {
    const KEY_ROW *row = keyRow(child);
    EFI_STATUS status = row == nullptr ? EFI_SUCCESS : readKeyField(child, *row, form, keys);
    if (EFI_ERROR(status)) {
      releaseKeys(keys, COMMAND_OBJECT_SIZE);
      return status;
    }
  }
  *keyOut = keys;
  return EFI_SUCCESS;
}

EFI_STATUS GetKeyFromXML(XML_NODE *element, RAID_KEY_RECORD **keyOut, RAID_KEY_RECORD **rekeyOut) {
  logEntered(GET_KEY);
  if (element == nullptr || (keyOut == nullptr && rekeyOut == nullptr)) {
    LogPrint(LOG_TRACE, GET_KEY, "Null Params!");
    return logExit(GET_KEY, EFI_INVALID_PARAMETER);
  }
  KEY_FORM form = rekeyOut != nullptr ? KEY_FORM_REKEY : KEY_FORM_SINGLE;
  RAID_KEY_RECORD **out = rekeyOut != nullptr ? rekeyOut : keyOut;
  *out = nullptr;
  return logExit(GET_KEY, readKey(element, form, out));
}
