// Key elements. What is given back of them is overwritten; the texts that they were read from, with their document.
#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

static constexpr const CHAR8 *getKey = "GetKeyFromXML";

// The two forms of a "Key": one record, or the new and the old key's record.
enum KeyForm { keyFormSingle, keyFormRekey, keyFormCount };

enum KeyField : UINT8 { keyFieldMode, keyFieldId, keyFieldPassphrase };

struct KeyRow {
  const CHAR8 *element;
  const CHAR8 *logLine;
  KeyField field;
  UINT8 record;
  const CHAR8 *refusals[keyFormCount]; // why a form does not take the element; null where it does
};

static constexpr KeyRow g_keyRows[] = {
    {"Mode", "Parsing Mode", keyFieldMode, 0, {}},
    {"KeyID", "Parsing KeyID", keyFieldId, 0, {}},
    {"Passphrase", "Parsing Passphrase", keyFieldPassphrase, 0, {nullptr, "Passphrase unexpected in rekey method!"}},
    {"OldPassphrase",
     "Parsing OldPassphrase",
     keyFieldPassphrase,
     1,
     {"OldPassphrase unexpected in key/lock method!", nullptr}},
    {"NewPassphrase",
     "Parsing NewPassphrase",
     keyFieldPassphrase,
     0,
     {"NewPassphrase unexpected in key/lock method!", nullptr}},
};

static const KeyRow *keyRow(const XML_NODE *element) {
  for (const KeyRow &row : g_keyRows) {
    if (isNamed(element, row.element)) {
      return &row;
    }
  }
  return nullptr;
}

static EFI_STATUS readMode(const CHAR8 *text, KeyForm form, RAID_KEY_RECORD *key) {
  UINT16 mode = static_cast<UINT16>(key->Mode | GetValueFromName(text, g_keyModeTable));
  if (mode == 0xFFFF) {
    LogPrint(LOG_TRACE, getKey,
             form == keyFormRekey ? "Parse Security Mode for rekey method fails"
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

static EFI_STATUS readKeyField(const XML_NODE *element, const KeyRow &row, KeyForm form, RAID_KEY_RECORD *keys) {
  LogPrint(LOG_TRACE, getKey, row.logLine);
  if (row.refusals[form] != nullptr) {
    LogPrint(LOG_TRACE, getKey, row.refusals[form]);
    return EFI_INVALID_PARAMETER;
  }
  RAID_KEY_RECORD *key = &keys[row.record];
  switch (row.field) { // not taken: every field is a case
  case keyFieldMode:
    return readMode(element->Content, form, key);
  case keyFieldId:
    copyFixedText(key->KeyID, element->Content, sizeof(key->KeyID));
    return EFI_SUCCESS;
  case keyFieldPassphrase:
    break;
  }
  return readPassphrase(element->Content, key);
}

static EFI_STATUS readKey(const XML_NODE *element, KeyForm form, RAID_KEY_RECORD **keyOut) {
  if (element->FirstChild == nullptr) {
    LogPrint(LOG_TRACE, getKey, "Not a key or rekey!");
    return EFI_INVALID_PARAMETER;
  }
  LogPrint(LOG_TRACE, getKey, form == keyFormRekey ? "ReKey" : "Key");
  RAID_KEY_RECORD *keys = newCommandObject<RAID_KEY_RECORD>();
  if (keys == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (const XML_NODE *child = element->FirstChild; child != nullptr; child = child->NextSibling) {
    const KeyRow *row = keyRow(child);
    EFI_STATUS status = row == nullptr ? EFI_SUCCESS : readKeyField(child, *row, form, keys);
    if (EFI_ERROR(status)) {
      releaseKeys(keys, commandObjectSize);
      return status;
    }
  }
  *keyOut = keys;
  return EFI_SUCCESS;
}

EFI_STATUS GetKeyFromXML(XML_NODE *element, RAID_KEY_RECORD **keyOut, RAID_KEY_RECORD **rekeyOut) {
  logEntered(getKey);
  if (element == nullptr || (keyOut == nullptr && rekeyOut == nullptr)) {
    LogPrint(LOG_TRACE, getKey, "Null Params!");
    return logExit(getKey, EFI_INVALID_PARAMETER);
  }
  KeyForm form = rekeyOut != nullptr ? keyFormRekey : keyFormSingle;
  RAID_KEY_RECORD **out = rekeyOut != nullptr ? rekeyOut : keyOut;
  *out = nullptr;
  return logExit(getKey, readKey(element, form, out));
}

} // namespace xyl::driver
