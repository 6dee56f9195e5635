// key lock, key rekey, key erase. A passphrase comes from a file or from a person, and is overwritten once it is used.
#include "client/verbs/builders.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::client {

struct Passphrase {
  CHAR8 text[RAID_PASSPHRASE_SIZE];
};

// --- Reading ---

// The first line of the file.
static Result readFromFile(const Context &context, const CHAR8 *file, Passphrase *passphrase) {
  CHAR8 *text = nullptr;
  UINTN size = 0;
  EFI_STATUS status = context.front->readFile(context.front, file, &text, &size);
  if (EFI_ERROR(status)) {
    complain(context.front, "cannot read '%a': %a", file, statusWords(status));
    return status == EFI_NOT_FOUND ? notFound() : failed(status);
  }
  UINTN length = 0;
  while (length < size && text[length] != '\r' && text[length] != '\n' && text[length] != 0) {
    ++length;
  }
  bool fits = length != 0 && length < sizeof(passphrase->text);
  copyBytes(passphrase->text, text, fits ? length : 0);
  wipeBytes(text, size);
  poolFree(text);
  if (!fits) {
    complain(context.front, "the first line of '%a' is no passphrase of 1 to 32 bytes", file);
    return refused();
  }
  return succeeded();
}

static Result askFor(const Context &context, const CHAR8 *question, Passphrase *passphrase) {
  EFI_STATUS status =
      context.front->askSecret != nullptr
          ? context.front->askSecret(context.front, question, passphrase->text, sizeof(passphrase->text))
          : EFI_NOT_FOUND;
  if (status == EFI_NOT_FOUND) {
    complain(context.front, "nobody can be asked for the passphrase; give --passphrase-file FILE, and of the old one "
                            "--old-passphrase-file FILE");
    return wrongUsage();
  }
  if (!EFI_ERROR(status) && passphrase->text[0] == 0) {
    status = EFI_ABORTED;
  }
  if (EFI_ERROR(status)) {
    complain(context.front, status == EFI_BAD_BUFFER_SIZE ? "a passphrase has at most 32 bytes; nothing was changed"
                                                          : "no passphrase was given; nothing was changed");
    return failed(status);
  }
  return succeeded();
}

// Asked twice for a new one, since nobody sees a slip.
static Result askForNew(const Context &context, Passphrase *passphrase) {
  Passphrase again = {};
  Result result = askFor(context, "New passphrase: ", passphrase);
  if (!isFailure(result)) {
    result = askFor(context, "The same again: ", &again);
  }
  if (!isFailure(result) && !textEqual(passphrase->text, again.text)) {
    complain(context.front, "the two passphrases differ; nothing was changed");
    result = failed(EFI_ABORTED);
  }
  wipeBytes(&again, sizeof(again));
  return result;
}

// --- Writing ---

static void putBase64(Text *text, const CHAR8 *bytes) {
  static constexpr const CHAR8 *alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (UINTN left = textLength(bytes); left != 0; bytes += left < 3 ? left : 3, left -= left < 3 ? left : 3) {
    UINT32 group = UINT32{static_cast<UINT8>(bytes[0])} << 16;
    group |= left > 1 ? UINT32{static_cast<UINT8>(bytes[1])} << 8 : 0;
    group |= left > 2 ? UINT32{static_cast<UINT8>(bytes[2])} : 0;
    CHAR8 four[5] = {};
    for (UINTN i = 0; i < 4; ++i) {
      four[i] = i <= left ? alphabet[group >> (18 - 6 * i) & 0x3F] : '=';
    }
    putText(text, four);
    wipeBytes(four, sizeof(four));
    wipeBytes(&group, sizeof(group));
  }
}

// A passphrase that the document needs: the option that names its file, its element, and whether it is a new one.
struct PassphraseRow {
  OptionId file;
  const CHAR8 *element;
  bool isNew;
};

// With --show nobody is asked, and the element stays empty.
static Result putPassphrase(const Context &context, const PassphraseRow &row, ChangeWriter *writer) {
  Passphrase passphrase = {};
  Text encoded = {};
  const CHAR8 *file = context.request->options[row.file];
  Result result = succeeded();
  if (!hasOption(context, optionShow)) {
    if (file != nullptr) {
      result = readFromFile(context, file, &passphrase);
    } else {
      result = row.isNew ? askForNew(context, &passphrase) : askFor(context, "Old passphrase: ", &passphrase);
    }
    putBase64(&encoded, passphrase.text);
    writer->text.failed = writer->text.failed || encoded.failed;
  }
  putElement(writer, row.element, textOf(encoded));
  freeText(&encoded);
  wipeBytes(&passphrase, sizeof(passphrase));
  return result;
}

// --- Verbs ---

static Result checkKeyId(const Context &context) {
  const CHAR8 *id = context.request->options[optionKeyId];
  if (id == nullptr) {
    complain(context.front, "give --key-id ID, by which people find the passphrase again");
    return wrongUsage();
  }
  for (const CHAR8 *at = id; *at != 0; ++at) {
    if (*at < ' ' || *at > '~' || at - id >= RAID_KEY_ID_SIZE) {
      complain(context.front, "a key id is plain ASCII of at most %d characters", RAID_KEY_ID_SIZE);
      return wrongUsage();
    }
  }
  return succeeded();
}

// Says what the adapter lacks for the verb.
static Result checkAdapter(const Context &context, const RAID_ADAPTER_RECORD &adapter, bool wantsKey) {
  bool hasKey = (adapter.Attributes & RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY) != 0;
  if (!wantsKey && (adapter.Attributes & RAID_ADAPTER_ATTRIBUTE_ENCRYPTION) == 0) {
    complain(context.front, "the adapter cannot lock disks, so it takes no key");
    return failed(EFI_UNSUPPORTED);
  }
  if (wantsKey != hasKey) {
    complain(context.front, hasKey ? "the adapter has a key; 'xyl key rekey' changes it"
                                   : "the adapter has no key; 'xyl key lock' sets one");
    return refused();
  }
  return succeeded();
}

static Result buildKey(const Context &context, const CHAR8 *command, const PassphraseRow *rows, UINTN count,
                       ChangeWriter *writer) {
  Result result = checkKeyId(context);
  if (isFailure(result)) {
    return result;
  }
  openMethod(writer, command, "Adapter");
  openElement(writer, "Object");
  openElement(writer, "Key");
  putElement(writer, "Mode", driver::GetNameFromValue(RAID_KEY_MODE_LKM, driver::g_keyModeTable));
  putElement(writer, "KeyID", context.request->options[optionKeyId]);
  for (UINTN i = 0; i < count && !isFailure(result); ++i) {
    result = putPassphrase(context, rows[i], writer);
  }
  return result;
}

Result buildLock(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer) {
  static constexpr PassphraseRow rows[] = {{optionPassphraseFile, "Passphrase", true}};
  Result result = checkAdapter(context, *config.adapter, /* wantsKey= */ false);
  return isFailure(result) ? result : buildKey(context, "Lock", rows, 1, writer);
}

Result buildRekey(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer) {
  static constexpr PassphraseRow rows[] = {{optionOldPassphraseFile, "OldPassphrase", false},
                                           {optionPassphraseFile, "NewPassphrase", true}};
  Result result = checkAdapter(context, *config.adapter, /* wantsKey= */ true);
  return isFailure(result) ? result : buildKey(context, "Rekey", rows, 2, writer);
}

Result buildErase(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer) {
  Result result = checkAdapter(context, *config.adapter, /* wantsKey= */ true);
  WordList secured = {};
  for (UINT32 i = 0; i < config.logicalDiskCount; ++i) {
    if ((config.logicalDisks[i].Attributes & RAID_VD_ATTRIBUTE_FDE) != 0) {
      appendNumber(secured, ", ", config.logicalDisks[i].ObjectID);
    }
  }
  if (!isFailure(result) && *secured.text != 0) {
    complain(context.front, "the key locks virtual disks %a; 'xyl delete' them first", secured.text);
    return refused();
  }
  if (!isFailure(result)) {
    openMethod(writer, "SecureErase", "Adapter");
  }
  return result;
}

} // namespace xyl::client
