# The PE32+ images that firmware loads (images.cmake). Every image is linked from rooms, names its entry point, and lands
# in RAIDXYL_EFI_OUTPUT; equal sources give equal bytes, wherever they are built.

find_program(RAIDXYL_LLD_LINK NAMES lld-link lld-link-14 lld-link-15 lld-link-16 lld-link-19 REQUIRED)
set(CMAKE_CXX_LINK_EXECUTABLE "${RAIDXYL_LLD_LINK} <LINK_FLAGS> <OBJECTS> <LINK_LIBRARIES> -out:<TARGET>"
                              "${PROJECT_SOURCE_DIR}/cmake/mark_image.sh <TARGET>")

# What the images tell of themselves: where they come from, and their generation. Raise that when a hole in older images
# is mended, so that boot loaders can be told to start none of these (SBAT).
set(RAIDXYL_VENDOR "Norvik Tarn" CACHE STRING "Whom the images' .sbom and .sbat sections name as their maker")
set(RAIDXYL_VENDOR_URL "SECURITY.md" CACHE STRING "Where the maker is told of holes")
set(RAIDXYL_GENERATION 1)

enable_language(ASM)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
execute_process(COMMAND ${RAIDXYL_LLD_LINK} --version OUTPUT_VARIABLE version COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCH "LLD ([0-9.]+)" version "${version}")
set(RAIDXYL_TOOLS "clang ${CMAKE_CXX_COMPILER_VERSION}|lld ${CMAKE_MATCH_1}")
file(GLOB RAIDXYL_PARTS_SCRIPTS ${PROJECT_SOURCE_DIR}/tools/image/*.py)

# add_parts(NAME OBJECTS...): the sections .sbom and .sbat of an image that is linked from OBJECTS.
function(add_parts name)
  set(parts ${PROJECT_BINARY_DIR}/${name}.parts.S)
  add_custom_command(OUTPUT ${parts} VERBATIM COMMAND_EXPAND_LISTS DEPENDS ${ARGN} ${RAIDXYL_PARTS_SCRIPTS}
                     COMMAND Python3::Interpreter -B ${PROJECT_SOURCE_DIR}/tools/image/parts.py ${name}
                             ${PROJECT_VERSION} ${RAIDXYL_VENDOR} ${RAIDXYL_VENDOR_URL} ${RAIDXYL_GENERATION}
                             ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR} ${RAIDXYL_TOOLS} ${parts} ${ARGN})
  set_source_files_properties(${parts} PROPERTIES COMPILE_OPTIONS -Wno-unused-command-line-argument)
  target_sources(${name} PRIVATE ${parts})
endfunction()

# add_efi_image(NAME SUBSYSTEM ENTRY ROOMS...): NAME.efi with the objects of ROOMS.
function(add_efi_image name subsystem entry)
  objects_of(objects ${ARGN})
  add_executable(${name} ${objects})
  add_parts(${name} ${objects})
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX
    SUFFIX .efi
    RUNTIME_OUTPUT_DIRECTORY ${RAIDXYL_EFI_OUTPUT}
    LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/efi_images.cmake;${PROJECT_SOURCE_DIR}/cmake/mark_image.sh")
  # Sections are whole pages by default, so that firmware can protect them. No time stamp.
  target_link_options(${name} PRIVATE
    -subsystem:${subsystem} -entry:ImageEntry -alternatename:ImageMain=${entry} -machine:${RAIDXYL_EFI_MACHINE}
    -nodefaultlib -nxcompat -cetcompat -dynamicbase -timestamp:0 -opt:ref,icf -WX
    -lldmap:${PROJECT_BINARY_DIR}/${name}.map)
endfunction()

foreach(image ${RAIDXYL_IMAGES})
  add_efi_image(${image} ${RAIDXYL_IMAGE_${image}})
endforeach()

# What only the runs in firmware need: the guest's own checks, and the benchmark.
add_freestanding_room(tests/firmware/guest)
add_efi_image(fwtest efi_application FwTestEntry base guest)
add_efi_image(fwhealth efi_application FwHealthEntry base guest)
add_efi_image(fwunload efi_boot_service_driver FwUnloadEntry base guest)
add_freestanding_room(bench/firmware)
add_efi_image(fwbench efi_application FwBenchEntry base guest firmware)
add_efi_image(fwread efi_application FwReadEntry base guest firmware)
set_target_properties(fwtest fwhealth fwunload fwbench fwread PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${RAIDXYL_EFI_OUTPUT}/guest)
