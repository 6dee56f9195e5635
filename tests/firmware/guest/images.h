// The images under test, loaded and unloaded the way a boot manager does it, with checks on the way.
#pragma once

#include "uefi/protocols.h"

enum TestImageIndex { imageLog, imageXml, imageSim, imageDriver, imageCount };

// A section's flags.
inline constexpr UINT32 sectionExecutable = 0x20000000U;
inline constexpr UINT32 sectionWritable = 0x80000000U;

typedef struct TestImage {
  const CHAR16 *file;
  EFI_HANDLE handle; // null: not loaded
  EFI_LOADED_IMAGE_PROTOCOL *loaded;
} TestImage;

extern TestImage g_images[imageCount];

// Reads a whole file of the volume that this application came from into a pool block that the caller frees.
EFI_STATUS readFile(EFI_HANDLE application, const CHAR16 *name, void **content, UINTN *size);

// Loads an image from a file, without starting it; parent is this application. On success *handle and *loaded are its.
EFI_STATUS loadFile(EFI_HANDLE parent, const CHAR16 *name, EFI_HANDLE *handle, EFI_LOADED_IMAGE_PROTOCOL **loaded);

// Loads and starts one image, and all of them.
bool loadTestImage(EFI_HANDLE parent, UINTN index);
bool loadTestImages(EFI_HANDLE parent);

// Unloads one image, and all in the reverse order.
bool unloadTestImage(UINTN index);
void unloadTestImages();

// Flags of the section of a loaded test image in which address lies; 0 when it is in none of them.
UINT32 sectionFlagsOf(const void *address);
