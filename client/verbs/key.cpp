// key lock, key rekey, key erase. A passphrase comes from a file or from a person, and is overwritten once it is used.
#include "client/verbs/builders.h"

#include "base/pool.h"
#include "base/text.h"

struct PASSPHRASE {
  CHAR8 Text[RAID_PASSPHRASE_SIZE];
};

// --- Reading ---

// The first line of the file.
static XYL_RESULT readFromFile(const XYL_CONTEXT &context, const CHAR8 *file, PASSPHRASE *passphrase) {
  CHAR8 *text = nullptr;
  UINTN size = 0;
  EFI_STATUS status = context.Front->ReadFile(context.Front, file, &text, &size);
  if (EFI_ERROR(status)) {
    complain(context.Front, "cannot read '%a': %a", file, statusWords(status));
    return status == EFI_NOT_FOUND ? notFound() : failed(status);
  }
  UINTN length = 0;
  while (length < size && text[length] != '\r' && text[length] != '\n' && text[length] != 0) {
    ++length;
  }
  bool fits = length != 0 && length < sizeof(passphrase->Text);
  copyBytes(passphrase->Text, text, fits ? length : 0);
  wipeBytes(text, size);
  poolFree(text);
  if (!fits) {
    complain(context.Front, "the first line of '%a' is no passphrase of 1 to 32 bytes", file);
    return refused();
  }
  return succeeded();
}

static XYL_RESULT askFor(const XYL_CONTEXT &context, const CHAR8 *question, PASSPHRASE *passphrase) {
  EFI_STATUS status =
      context.Front->AskSecret != nullptr
          ? context.Front->AskSecret(context.Front, question, passphrase->Text, sizeof(passphrase->Text))
          : EFI_NOT_FOUND;
  if (status == EFI_NOT_FOUND) {
    complain(context.Front, "nobody can be asked for the passphrase; give --passphrase-file FILE, and of the old one "
                            "--old-passphrase-file FILE");
    return wrongUsage();
  }
  if (!EFI_ERROR(status) && passphrase->Text[0] == 0) {
    status = EFI_ABORTED;
  }
  if (EFI_ERROR(status)) {
    complain(context.Front, status == EFI_BAD_BUFFER_SIZE ? "a passphrase has at most 32 bytes; nothing was changed"
                                                          : "no passphrase was given; nothing was changed");
    return failed(status);
  }
  return succeeded();
}

// Asked twice for a new one, since nobody sees a slip.
static XYL_RESULT askForNew(const XYL_CONTEXT &context, PASSPHRASE *passphrase) {
  PASSPHRASE again = {};
  XYL_RESULT result = askFor(context, "New passphrase: ", passphrase);
  if (!isFailure(result)) {
    result = askFor(context, "The same again: ", &again);
  }
  if (!isFailure(result) && !textEqual(passphrase->Text, again.Text)) {
    complain(context.Front, "the two passphrases differ; nothing was changed");
    result = failed(EFI_ABORTED);
  }
  wipeBytes(&again, sizeof(again));
  return result;
}

// --- Writing ---

static void putBase64(TEXT *text, const CHAR8 *bytes) {
  static constexpr const CHAR8 *ALPHABET = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (UINTN left = textLength(bytes); left != 0; bytes += left < 3 ? left : 3, left -= left < 3 ? left : 3) {
    UINT32 group = UINT32{static_cast<UINT8>(bytes[0])} << 16;
    group |= left > 1 ? UINT32{static_cast<UINT8>(bytes[1])} << 8 : 0;
    group |= left > 2 ? UINT32{static_cast<UINT8>(bytes[2])} : 0;
    CHAR8 four[5] = {};
    for (UINTN i = 0; i < 4; ++i) {
      four[i] = i <= left ? ALPHABET[group >> (18 - 6 * i) & 0x3F] : '=';
    }
    putText(text, four);
    wipeBytes(four, sizeof(four));
    wipeBytes(&group, sizeof(group));
  }
}

// A passphrase that the document needs: the option that names its file, its element, and whether it is a new one.
struct PASSPHRASE_ROW {
  XYL_OPTION_ID File;
  const CHAR8 *Element;
  bool IsNew;
};

// With --show nobody is asked, and the element stays empty.
static XYL_RESULT putPassphrase(const XYL_CONTEXT &context, const PASSPHRASE_ROW &row, CHANGE_WRITER *writer) {
  PASSPHRASE passphrase = {};
  TEXT encoded = {};
  const CHAR8 *file = context.Request->Options[row.File];
  XYL_RESULT result = succeeded();
  if (!hasOption(context, XYL_OPTION_SHOW)) {
    if (file != nullptr) {
      result = readFromFile(context, file, &passphrase);
    } else {
      result = row.IsNew ? askForNew(context, &passphrase) : askFor(context, "Old passphrase: ", &passphrase);
    }
    putBase64(&encoded, passphrase.Text);
    writer->Text.Failed = writer->Text.Failed || encoded.Failed;
  }
  putElement(writer, row.Element, textOf(encoded));
  freeText(&encoded);
  wipeBytes(&passphrase, sizeof(passphrase));
  return result;
}

// --- Verbs ---

static XYL_RESULT checkKeyId(const XYL_CONTEXT &context) {
  const CHAR8 *id = context.Request->Options[XYL_OPTION_KEY_ID];
  if (id == nullptr) {
    complain(context.Front, "give --key-id ID, by which people find the passphrase again");
    return wrongUsage();
  }
  for (const CHAR8 *at = id; *at != 0; ++at) {
    if (*at < ' ' || *at > '~' || at - id >= RAID_KEY_ID_SIZE) {
      complain(context.Front, "a key id is plain ASCII of at most %d characters", RAID_KEY_ID_SIZE);
      return wrongUsage();
    }
  }
  return succeeded();
}

// Says what the adapter lacks for the verb.
static XYL_RESULT checkAdapter(const XYL_CONTEXT &context, const RAID_ADAPTER_RECORD &adapter, bool wantsKey) {
  bool hasKey = (adapter.Attributes & RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY) != 0;
  if (!wantsKey && (adapter.Attributes & RAID_ADAPTER_ATTRIBUTE_ENCRYPTION) == 0) {
    complain(context.Front, "the adapter cannot lock disks, so it takes no key");
    return failed(EFI_UNSUPPORTED);
  }
  if (wantsKey != hasKey) {
    complain(context.Front, hasKey ? "the adapter has a key; 'xyl key rekey' changes it"
                                   : "the adapter has no key; 'xyl key lock' sets one");
    return refused();
  }
  return succeeded();
}

static XYL_RESULT buildKey(const XYL_CONTEXT &context, const CHAR8 *command, const PASSPHRASE_ROW *rows, UINTN count,
                           CHANGE_WRITER *writer) {
  XYL_RESULT result = checkKeyId(context);
  if (isFailure(result)) {
    return result;
  }
  openMethod(writer, command, "Adapter");
  openElement(writer, "Object");
  openElement(writer, "Key");
  putElement(writer, "Mode", GetNameFromValue(RAID_KEY_MODE_LKM, g_keyModeTable));
  putElement(writer, "KeyID", context.Request->Options[XYL_OPTION_KEY_ID]);
  for (UINTN i = 0; i < count && !isFailure(result); ++i) {
    result = putPassphrase(context, rows[i], writer);
  }
  return result;
}

XYL_RESULT buildLock(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer) {
  static constexpr PASSPHRASE_ROW rows[] = {{XYL_OPTION_PASSPHRASE_FILE, "Passphrase", true}};
  XYL_RESULT result = checkAdapter(context, *config.adapter, /* wantsKey= */ false);
  return isFailure(result) ? result : buildKey(context, "Lock", rows, 1, writer);
}

XYL_RESULT buildRekey(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer) {
  static constexpr PASSPHRASE_ROW rows[] = {{XYL_OPTION_OLD_PASSPHRASE_FILE, "OldPassphrase", false},
                                            {XYL_OPTION_PASSPHRASE_FILE, "NewPassphrase", true}};
  XYL_RESULT result = checkAdapter(context, *config.adapter, /* wantsKey= */ true);
  return isFailure(result) ? result : buildKey(context, "Rekey", rows, 2, writer);
}

XYL_RESULT buildErase(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer) {
  XYL_RESULT result = checkAdapter(context, *config.adapter, /* wantsKey= */ true);
  WORD_LIST secured = {};
  for (UINT32 i = 0; i < config.logicalDiskCount; ++i) {
    if ((config.logicalDisks[i].Attributes & RAID_VD_ATTRIBUTE_FDE) != 0) {
      appendNumber(secured, ", ", config.logicalDisks[i].ObjectID);
    }
  }
  if (!isFailure(result) && *secured.Text != 0) {
    complain(context.Front, "the key locks virtual disks %a; 'xyl delete' them first", secured.Text);
    return refused();
  }
  if (!isFailure(result)) {
    openMethod(writer, "SecureErase", "Adapter");
  }
  return result;
}
