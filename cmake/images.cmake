# The images, which the EFI build links and of which the package for EDK II trees is made. Each is told by what it is, its
# entry point and its rooms.

# describe_image(NAME SUBSYSTEM ENTRY ROOMS...)
macro(describe_image name)
  list(APPEND RAIDXYL_IMAGES ${name})
  set(RAIDXYL_IMAGE_${name} ${ARGN})
endmacro()

describe_image(RaidXyl efi_boot_service_driver RaidXylEntry ${DRIVER_ROOMS})
describe_image(XmlService efi_boot_service_driver XmlServiceEntry base unload_guard xml_service)
describe_image(DebugLog efi_boot_service_driver DebugLogEntry base unload_guard debug_log)
describe_image(RaidSim efi_boot_service_driver RaidSimEntry base records sim_controller)
describe_image(RaidDisks efi_boot_service_driver RaidDisksEntry base records log_user ddf ddf_change disk_controller)
describe_image(RaidVolumes efi_boot_service_driver RaidVolumesEntry base log_user ddf volume_map volumes)
describe_image(RaidHealth efi_boot_service_driver RaidHealthEntry base health)
describe_image(RaidSetup efi_boot_service_driver RaidSetupEntry base records fitting xml health setup)
describe_image(xyl efi_application XylEntry ${DRIVER_ROOMS} fitting client firmware_images shell)
describe_image(RaidBoot efi_application MediumEntry ${DRIVER_ROOMS} fitting client firmware_images network medium)
