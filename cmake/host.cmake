# Host targets: the driver as a static library, the providers, tests, and what is installed.

objects_of(driver_objects ${DRIVER_ROOMS})
add_library(raidxyl ${driver_objects})
public_includes(raidxyl)

objects_of(provider_objects unload_guard xml_service debug_log sim_controller health ddf
                            ddf_change log_user volume_map volumes disk_controller)
add_library(raidxyl_providers ${provider_objects})
public_includes(raidxyl_providers)
target_link_libraries(raidxyl_providers PUBLIC raidxyl)

add_subdirectory(host)

include(cmake/install.cmake)
include(cmake/edk2.cmake)

option(RAIDXYL_TESTS "Build the host tests" ON)
if(RAIDXYL_TESTS)
  enable_testing()
  add_subdirectory(tests)
endif()
# The replay of the corpora judges with the sanitizers.
if(RAIDXYL_FUZZ OR (RAIDXYL_TESTS AND RAIDXYL_SANITIZE))
  add_subdirectory(fuzz)
endif()
if(RAIDXYL_BENCH)
  add_subdirectory(bench)
endif()
