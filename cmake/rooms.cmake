# Compile options and the helper that turns a folder into an object library.

set(RAIDXYL_WARNINGS -Wall -Wextra -Werror -Wconversion -Wno-sign-conversion -Wshadow -Wcast-align)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # It takes the copies inside std::string for overlapping ones when it optimises.
  list(APPEND RAIDXYL_WARNINGS -Wno-restrict)
endif()

# Code that also runs in firmware: no exceptions, no RTTI, nothing beyond the freestanding headers.
set(RAIDXYL_FREESTANDING -ffreestanding -fno-exceptions -fno-rtti -fno-threadsafe-statics)

set(RAIDXYL_HOST_OPTIONS "")
if(RAIDXYL_SANITIZE)
  set(RAIDXYL_HOST_OPTIONS -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(RAIDXYL_COVERAGE)
  list(APPEND RAIDXYL_HOST_OPTIONS -fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()
if(RAIDXYL_MEMCHECK)
  list(APPEND RAIDXYL_HOST_OPTIONS -DRAIDXYL_MEMCHECK)
endif()
if(RAIDXYL_FUZZ)
  # Comparisons are not traced: words come from dictionaries, and a run takes a quarter less time.
  list(APPEND RAIDXYL_HOST_OPTIONS -fsanitize=fuzzer-no-link -fno-sanitize-coverage=trace-cmp,stack-depth)
endif()

# add_room_library(NAME SOURCES...): freestanding sources as the object library room_NAME.
function(add_room_library name)
  add_library(room_${name} OBJECT ${ARGN})
  target_include_directories(room_${name} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_compile_options(room_${name} PRIVATE ${RAIDXYL_WARNINGS} ${RAIDXYL_FREESTANDING} ${RAIDXYL_HOST_OPTIONS})
endfunction()

# add_freestanding_room(FOLDER): all sources in FOLDER and below as the room library of its last part.
function(add_freestanding_room folder)
  get_filename_component(name ${folder} NAME)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  if(sources)
    add_room_library(${name} ${sources})
  endif()
endfunction()

# public_includes(TARGET): headers by room, and those of include/ by name; installed ones stand in one folder.
function(public_includes target)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                              $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:include/raidxyl>)
endfunction()

# add_host_library(NAME SOURCES...): a static library of host code.
function(add_host_library name)
  add_library(${name} ${ARGN})
  public_includes(${name})
  target_compile_options(${name} PRIVATE ${RAIDXYL_WARNINGS} ${RAIDXYL_HOST_OPTIONS})
endfunction()

# objects_of(VARIABLE ROOMS...): the object files of those rooms that have sources.
function(objects_of variable)
  set(objects "")
  foreach(room ${ARGN})
    if(TARGET room_${room})
      list(APPEND objects $<TARGET_OBJECTS:room_${room}>)
    endif()
  endforeach()
  set(${variable} ${objects} PARENT_SCOPE)
endfunction()

# unite(TARGET): its sources are compiled together, folder by folder, where that is wanted.
function(unite target)
  if(NOT RAIDXYL_UNITY)
    return()
  endif()
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  foreach(source ${sources})
    get_filename_component(folder "${source}" DIRECTORY)
    get_filename_component(folder "${folder}" NAME)
    set_source_files_properties(${source} TARGET_DIRECTORY ${target} PROPERTIES UNITY_GROUP "${folder}")
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
