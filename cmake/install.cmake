# cmake --install: the client with its manual page and completion, and the host library with headers and package files,
# for programs that use the driver without hardware.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Everything that a host program links: driver, providers and the stand-in for firmware.
add_library(raidxyl_host INTERFACE)
target_link_libraries(raidxyl_host INTERFACE raidxyl_providers raidxyl raidxyl_firmware)
set_target_properties(raidxyl_host PROPERTIES EXPORT_NAME host)

install(TARGETS raidxyl raidxyl_providers raidxyl_firmware raidxyl_host EXPORT RaidXylTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT RaidXylTargets NAMESPACE RaidXyl:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RaidXyl)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/RaidXylConfig.cmake.in ${PROJECT_BINARY_DIR}/RaidXylConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RaidXyl)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/RaidXylConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/RaidXylConfig.cmake ${PROJECT_BINARY_DIR}/RaidXylConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RaidXyl)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/raidxyl)
foreach(header base/array.h base/pool.h driver/binding/binding.h host/firmware/block_device.h
               host/firmware/firmware.h records/answers.h providers/debug_log/debug_log_provider.h
               providers/xml_service/xml_service.h)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/raidxyl/${folder})
endforeach()

file(GLOB headers ${PROJECT_SOURCE_DIR}/providers/sim_controller/*.h)
install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/raidxyl/providers/sim_controller)

# The client writes its own pages.
foreach(page man completion)
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/xyl.${page} DEPENDS xyl VERBATIM
                     COMMAND sh -c "\"$1\" \"$2\" >\"$3\"" sh $<TARGET_FILE:xyl> ${page}
                             ${PROJECT_BINARY_DIR}/xyl.${page})
endforeach()
add_custom_target(xyl_pages ALL DEPENDS ${PROJECT_BINARY_DIR}/xyl.man ${PROJECT_BINARY_DIR}/xyl.completion)

install(TARGETS xyl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_BINARY_DIR}/xyl.man RENAME xyl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_BINARY_DIR}/xyl.completion RENAME xyl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/schema/ DESTINATION ${CMAKE_INSTALL_DATADIR}/raidxyl/schema
        FILES_MATCHING PATTERN "*.xsd" PATTERN "*.schema.json")
