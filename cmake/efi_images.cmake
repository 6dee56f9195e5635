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

add_efi_image(RaidXyl efi_boot_service_driver RaidXylEntry ${DRIVER_ROOMS})
add_efi_image(XmlService efi_boot_service_driver XmlServiceEntry base unload_guard xml_service)
add_efi_image(DebugLog efi_boot_service_driver DebugLogEntry base unload_guard debug_log)
add_efi_image(RaidSim efi_boot_service_driver RaidSimEntry base records sim_controller)
add_efi_image(RaidDisks efi_boot_service_driver RaidDisksEntry base records log_user ddf ddf_change disk_controller)
add_efi_image(RaidVolumes efi_boot_service_driver RaidVolumesEntry base log_user ddf volume_map volumes)
add_efi_image(RaidHealth efi_boot_service_driver RaidHealthEntry base health)
add_efi_image(xyl efi_application XylEntry ${DRIVER_ROOMS} client firmware_images shell)
add_efi_image(RaidBoot efi_application MediumEntry ${DRIVER_ROOMS} client firmware_images medium)

# What only the runs in firmware need: the guest's own checks, and the benchmark.
add_freestanding_room(tests/firmware/guest)
add_efi_image(fwtest efi_application FwTestEntry base guest)
add_efi_image(fwhealth efi_application FwHealthEntry base guest)
add_freestanding_room(bench/firmware)
add_efi_image(fwbench efi_application FwBenchEntry base guest firmware)
add_efi_image(fwread efi_application FwReadEntry base guest firmware)
set_target_properties(fwtest fwhealth fwbench fwread PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${RAIDXYL_EFI_OUTPUT}/guest)
