// A medium with a FAT file system for the front that boots from it, kept in memory.
#pragma once

#include <algorithm>
#include <map>
#include <string>

#include "uefi/protocols.h"

// Files behave as on FAT: opening with CREATE leaves what is in them, renaming replaces nothing, and the letters'
// case does not matter. Folders are what names of files have before a backslash.
struct Stick {
  struct OpenFile : EFI_FILE_PROTOCOL {
    std::u16string name; // as in files
    size_t place;
  };
  static inline std::map<std::u16string, std::string> files; // small letters
  static inline int opens;
  static inline int writes;   // calls that changed it
  static inline int writable; // calls that may
  static inline bool isStuck; // with what it could not write, until it is opened anew
  static inline EFI_SIMPLE_FILE_SYSTEM_PROTOCOL system;

  static std::string &file(const std::u16string &name) { return files[u"\\raidxyl\\" + name]; }
  static bool has(const std::u16string &name) { return files.count(u"\\raidxyl\\" + name) != 0; }
  // Empties it; what takes part in a file system is made anew.
  static void clear() {
    files.clear();
    isStuck = false;
    opens = writes = 0;
    writable = 1 << 30;
    system.OpenVolume = [](EFI_SIMPLE_FILE_SYSTEM_PROTOCOL *, EFI_FILE_PROTOCOL **root) EFIAPI -> EFI_STATUS {
      isStuck = false;
      *root = make(u"");
      return EFI_SUCCESS;
    };
  }

private:
  static OpenFile &of(EFI_FILE_PROTOCOL *file) { return *static_cast<OpenFile *>(file); }
  static std::u16string lower(std::u16string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](CHAR16 unit) { return unit >= u'A' && unit <= u'Z' ? static_cast<CHAR16>(unit | 0x20) : unit; });
    return name;
  }
  static bool isFolder(const std::u16string &name) {
    auto next = files.lower_bound(name + u"\\");
    return next != files.end() && next->first.starts_with(name + u"\\");
  }
  static EFI_STATUS change() {
    isStuck = ++writes > writable;
    return isStuck ? EFI_WRITE_PROTECTED : EFI_SUCCESS;
  }

  static EFI_FILE_PROTOCOL *make(const std::u16string &name) {
    OpenFile *made = new OpenFile{};
    made->name = name;
    made->Open = open;
    made->Close = close;
    made->Delete = remove;
    made->Read = read;
    made->Write = write;
    made->SetPosition = [](EFI_FILE_PROTOCOL *file, UINT64 place) EFIAPI -> EFI_STATUS {
      of(file).place = place;
      return EFI_SUCCESS;
    };
    made->GetInfo = getInfo;
    made->SetInfo = setInfo;
    made->Flush = [](EFI_FILE_PROTOCOL *) EFIAPI -> EFI_STATUS { return EFI_SUCCESS; };
    ++opens;
    return made;
  }
  static EFI_STATUS EFIAPI open(EFI_FILE_PROTOCOL *from, EFI_FILE_PROTOCOL **file, const CHAR16 *part, UINT64 mode,
                                UINT64 attributes) {
    if (isStuck) {
      return EFI_UNSUPPORTED;
    }
    std::u16string name = lower(*part == u'\\' ? part : of(from).name + u"\\" + part);
    name.resize(name.find_last_not_of(u'\\') + 1);
    if (files.count(name) == 0 && !isFolder(name)) {
      EFI_STATUS status = mode == EFI_FILE_MODE_CREATE ? change() : EFI_NOT_FOUND;
      if (EFI_ERROR(status)) {
        return status;
      }
      files[(attributes & EFI_FILE_DIRECTORY) != 0 ? name + u"\\" : name];
    }
    *file = make(name);
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI close(EFI_FILE_PROTOCOL *file) {
    delete &of(file);
    --opens;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI remove(EFI_FILE_PROTOCOL *file) {
    bool isGone = !EFI_ERROR(change()) && files.erase(of(file).name) != 0;
    close(file);
    return isGone ? EFI_SUCCESS : 2; // the warning that it is still there
  }
  static EFI_STATUS EFIAPI read(EFI_FILE_PROTOCOL *file, UINTN *size, void *buffer) {
    OpenFile &open = of(file);
    if (!isFolder(open.name)) {
      *size = files[open.name].copy(static_cast<char *>(buffer), *size, open.place);
      open.place += *size;
      return EFI_SUCCESS;
    }
    auto at = files.lower_bound(open.name + u"\\");
    std::advance(at, std::min<size_t>(open.place++, static_cast<size_t>(std::distance(at, files.end()))));
    bool ends = at == files.end() || !at->first.starts_with(open.name + u"\\");
    *size = ends ? 0 : describe(at->first.substr(open.name.size() + 1), 0, static_cast<EFI_FILE_INFO *>(buffer));
    return EFI_SUCCESS;
  }
  static UINTN describe(const std::u16string &base, UINT64 size, EFI_FILE_INFO *info) {
    *info = {};
    info->FileSize = size;
    base.copy(info->FileName, 255);
    info->FileName[base.size()] = 0;
    info->Size = offsetof(EFI_FILE_INFO, FileName) + (base.size() + 1) * sizeof(CHAR16);
    return info->Size;
  }
  static EFI_STATUS EFIAPI write(EFI_FILE_PROTOCOL *file, UINTN *size, const void *buffer) {
    OpenFile &open = of(file);
    std::string &content = files[open.name];
    content.resize(std::max(content.size(), open.place + *size));
    content.replace(open.place, *size, static_cast<const char *>(buffer), *size);
    open.place += *size;
    return change();
  }
  static EFI_STATUS EFIAPI getInfo(EFI_FILE_PROTOCOL *file, const EFI_GUID *, UINTN *size, void *buffer) {
    const std::u16string &name = of(file).name;
    *size = describe(name.substr(name.rfind(u'\\') + 1), files[name].size(), static_cast<EFI_FILE_INFO *>(buffer));
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI setInfo(EFI_FILE_PROTOCOL *file, const EFI_GUID *, UINTN, const void *buffer) {
    auto *info = static_cast<const EFI_FILE_INFO *>(buffer);
    const std::u16string old = of(file).name;
    std::u16string name = lower(old.substr(0, old.rfind(u'\\') + 1) + info->FileName);
    if (name != old && files.count(name) != 0) {
      return EFI_ACCESS_DENIED;
    }
    std::string content = std::move(files[old]);
    content.resize(info->FileSize);
    files.erase(old);
    files[of(file).name = name] = std::move(content);
    return change();
  }
};
