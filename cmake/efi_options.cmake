# Compile options of the EFI build: RAIDXYL_EFI_ARCH is x64 or aarch64.

set(RAIDXYL_EFI_OUTPUT ${PROJECT_BINARY_DIR}/images CACHE PATH "Where the images go")

if(RAIDXYL_EFI_ARCH STREQUAL "x64")
  add_compile_options(--target=x86_64-unknown-windows -mno-red-zone)
  set(RAIDXYL_EFI_BRANCH_MARKS -fcf-protection=branch)
  set(RAIDXYL_EFI_MACHINE x64)
elseif(RAIDXYL_EFI_ARCH STREQUAL "aarch64")
  add_compile_options(--target=aarch64-unknown-windows)
  set(RAIDXYL_EFI_BRANCH_MARKS -mbranch-protection=standard)
  set(RAIDXYL_EFI_MACHINE arm64)
else()
  message(FATAL_ERROR "RAIDXYL_EFI_ARCH is \"${RAIDXYL_EFI_ARCH}\"; use the presets efi-x64 and efi-aarch64")
endif()

add_compile_definitions(RAIDXYL_EFI)
add_compile_options(
  -nostdlibinc
  ${RAIDXYL_EFI_BRANCH_MARKS}
  -fno-jump-tables                              # whose jumps land where nothing is marked
  -fstack-protector                             # only frames with character arrays of some size pay for it
  -mno-stack-arg-probe -Wframe-larger-than=4095 # nobody probes the stack, so no frame may step over a page
  -fno-asynchronous-unwind-tables
  -fno-vectorize -fno-slp-vectorize             # what runs here is short; vector code would only be longer
  -flto                                         # the linker sees an image as a whole, the limit of frames included,
  -ffunction-sections -fdata-sections           # and drops what an image does not use
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

# The compiler calls these by name, which it decides on when everything else has been linked. Every text and record goes
# through them: faster is worth its size.
set_source_files_properties(base/efi_entry.cpp base/efi_runtime.cpp PROPERTIES COMPILE_OPTIONS "-fno-lto;-Os")
