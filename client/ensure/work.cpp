#include "client/ensure/work.h"

namespace xyl::client::ensure {

void putParts(Text *text, const Part *parts, UINTN count) {
  for (UINTN i = 0; i < count; ++i) {
    if (parts[i].text != nullptr) {
      putText(text, parts[i].text);
    } else {
      putNumber(text, parts[i].number);
    }
  }
}

void putBytesOf(Text *text, UINT64 size) {
  CHAR8 words[sizeTextCapacity];
  formatSize(words, size);
  putText(text, words);
}

void putDisk(Text *text, const RAID_CONFIG &config, const RAID_PD_RECORD &disk) {
  WordList name = {};
  appendDisk(name, "", config, disk);
  putText(text, name.text);
}

Text *nextReason(Text *why) {
  putText(why, why->length != 0 ? "; " : "");
  return why;
}

void setFree(RAID_PD_RECORD *disk) {
  disk->Hotspare = RAID_HOTSPARE_NONE;
  disk->State = disk->State == RAID_STATE_ONLINE ? RAID_STATE_READY : disk->State;
  disk->SecureState = disk->SecureState == RAID_SECURE_STATE_SECURED ? 0 : disk->SecureState;
}

Text *refusal(Work *work, const CHAR8 *what, const CHAR8 *name) {
  Text *line = arrayAppend(work->judgement->refusals);
  if (line == nullptr) {
    work->failed = true;
    line = &work->lost;
  }
  put(line, what, *name != 0 ? "'" : "", name, *name != 0 ? "': " : ": ");
  return line;
}

} // namespace xyl::client::ensure
