# The PE32+ images that firmware loads. Every image is linked from rooms, names its entry point, and lands in
# RAIDXYL_EFI_OUTPUT; equal sources give equal bytes, wherever they are built.

find_program(RAIDXYL_LLD_LINK NAMES lld-link lld-link-14 lld-link-15 lld-link-16 lld-link-19 REQUIRED)
set(CMAKE_CXX_LINK_EXECUTABLE "${RAIDXYL_LLD_LINK} <LINK_FLAGS> <OBJECTS> <LINK_LIBRARIES> -out:<TARGET>"
                              "${PROJECT_SOURCE_DIR}/cmake/mark_image.sh <TARGET>")

# add_efi_image(NAME SUBSYSTEM ENTRY ROOMS...): NAME.efi with the objects of ROOMS.
function(add_efi_image name subsystem entry)
  objects_of(objects ${ARGN})
  add_executable(${name} ${objects})
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

# add_packed_image(NAME SUBSYSTEM ENTRY ROOMS...): the same as unpacked/NAME.efi; NAME.efi has it packed in itself.
find_program(RAIDXYL_PYTHON python3 HINTS /usr/bin REQUIRED)
function(add_packed_image name subsystem entry)
  add_efi_image(${name}_unpacked ${subsystem} ${entry} ${ARGN})
  set_target_properties(${name}_unpacked PROPERTIES
    OUTPUT_NAME ${name}
    RUNTIME_OUTPUT_DIRECTORY ${RAIDXYL_EFI_OUTPUT}/unpacked)
  set(script ${PROJECT_SOURCE_DIR}/cmake/pack_image.py)
  set(packed ${PROJECT_BINARY_DIR}/${name}_packed.cpp)
  add_custom_command(OUTPUT ${packed} DEPENDS ${name}_unpacked ${script} VERBATIM
                     COMMAND ${RAIDXYL_PYTHON} ${script} $<TARGET_FILE:${name}_unpacked> ${packed})
  # The table stays one, with an address: an image without relocations looks like one that cannot be moved.
  set_source_files_properties(${packed} PROPERTIES COMPILE_OPTIONS -fno-lto)
  add_efi_image(${name} ${subsystem} PackedEntry base xyl_packed_start)
  target_sources(${name} PRIVATE ${packed})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
endfunction()

add_efi_image(RaidXyl efi_boot_service_driver RaidXylEntry ${DRIVER_ROOMS})
add_efi_image(XmlService efi_boot_service_driver XmlServiceEntry base unload_guard xml_service)
add_efi_image(DebugLog efi_boot_service_driver DebugLogEntry base unload_guard debug_log)
add_efi_image(RaidSim efi_boot_service_driver RaidSimEntry base answers levels sim_controller)
add_efi_image(RaidDisks efi_boot_service_driver RaidDisksEntry base answers ddf ddf_change disk_controller)
add_efi_image(RaidHealth efi_boot_service_driver RaidHealthEntry base health)
add_packed_image(xyl efi_application XylEntry ${DRIVER_ROOMS} xyl_core xyl_firmware xyl_shell_front)
add_packed_image(RaidBoot efi_application MediumEntry ${DRIVER_ROOMS} xyl_core xyl_firmware xyl_medium_front)

# What only the runs in firmware need: the guest's own checks, and the benchmark.
add_freestanding_room(tests/firmware/guest)
add_efi_image(fwtest efi_application FwTestEntry base guest)
add_efi_image(fwhealth efi_application FwHealthEntry base guest)
add_freestanding_room(bench/firmware)
add_efi_image(fwbench efi_application FwBenchEntry base guest firmware)
set_target_properties(fwtest fwhealth fwbench PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${RAIDXYL_EFI_OUTPUT}/guest)
