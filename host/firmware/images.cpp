// Images: their handles, what they are told, and what is left of them when they go.

#include "host/firmware/state.h"

namespace xyl::host {

// Forgets an image. What it left behind would point into memory that is gone.
static void dropImage(EFI_HANDLE image) {
  FirmwareState &state = *g_firmware;
  for (const std::string &line : state.database.heldOpen(image)) {
    state.complaints.push_back("image gone: " + line);
  }
  state.database.closeAllOf(image);
  std::list<ProtocolEntry> *protocols = state.database.protocols(image);
  for (size_t i = 1; protocols != nullptr && i < protocols->size(); ++i) {
    state.complaints.push_back("image gone: protocol still installed on its handle");
  }
  state.database.drop(image);
  state.images.erase(image);
}

EFI_STATUS startImage(ImageEntry entry, EFI_HANDLE *image, const std::u16string &loadOptions) {
  FirmwareState &state = *g_firmware;
  *image = nullptr;
  auto record = std::make_unique<Image>();
  EFI_LOADED_IMAGE_PROTOCOL &loaded = record->loaded;
  loaded.Revision = 0x1000;
  loaded.SystemTable = &state.systemTable;
  loaded.ImageCodeType = 3;
  loaded.ImageDataType = EfiBootServicesData;
  if (!loadOptions.empty()) {
    record->options.assign(loadOptions.c_str(), loadOptions.c_str() + loadOptions.size() + 1);
    loaded.LoadOptions = record->options.data();
    loaded.LoadOptionsSize = static_cast<UINT32>(record->options.size() * sizeof(CHAR16));
  }
  EFI_HANDLE handle = nullptr;
  state.database.install(&handle, g_loadedImageGuid, &loaded);
  state.images[handle] = std::move(record);
  EFI_STATUS status = entry(handle, &state.systemTable);
  if (EFI_ERROR(status)) {
    dropImage(handle);
    return status;
  }
  *image = handle;
  return EFI_SUCCESS;
}

EFI_STATUS unloadImageOn(EFI_HANDLE image) {
  auto found = g_firmware->images.find(image);
  if (found == g_firmware->images.end()) {
    return EFI_INVALID_PARAMETER;
  }
  EFI_LOADED_IMAGE_PROTOCOL &loaded = found->second->loaded;
  if (loaded.Unload == nullptr) {
    return EFI_UNSUPPORTED;
  }
  EFI_STATUS status = loaded.Unload(image);
  if (EFI_ERROR(status)) {
    return status;
  }
  dropImage(image);
  return EFI_SUCCESS;
}

} // namespace xyl::host
