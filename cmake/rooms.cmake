# One object library per folder. A room sees its own headers, those of the rooms
# that it names after USES, and the public ones; including anything else fails
# the build, because every room's headers lie under a directory of their own
# that holds nothing but a link to the folder.

set(ORBEL_ROOMS_DIR ${CMAKE_BINARY_DIR}/rooms)

function(orbel_room_directory room)
  if(NOT EXISTS ${ORBEL_ROOMS_DIR}/${room}/${room})
    file(MAKE_DIRECTORY ${ORBEL_ROOMS_DIR}/${room})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${room} ${ORBEL_ROOMS_DIR}/${room}/${room} SYMBOLIC)
  endif()
endfunction()

# orbel_see(target rooms...): lets a target include those rooms' headers.
function(orbel_see target)
  foreach(room IN LISTS ARGN)
    orbel_room_directory(${room})
    target_include_directories(${target} PRIVATE ${ORBEL_ROOMS_DIR}/${room})
  endforeach()
endfunction()

# orbel_see_header(target room header): lets a target include one leaf header of a
# room that is built on the target's own.
function(orbel_see_header target room header)
  set(leaf ${ORBEL_ROOMS_DIR}/${room}.${header}/${room})
  if(NOT EXISTS ${leaf}/${header})
    file(MAKE_DIRECTORY ${leaf})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${room}/${header} ${leaf}/${header} SYMBOLIC)
  endif()
  target_include_directories(${target} PRIVATE ${ORBEL_ROOMS_DIR}/${room}.${header})
endfunction()

# orbel_room(name USES rooms... SOURCES files...)
function(orbel_room name)
  cmake_parse_arguments(ARG "" "" "USES;SOURCES" ${ARGN})
  add_library(room_${name} OBJECT ${ARG_SOURCES})
  set_target_properties(room_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(room_${name} PRIVATE orbel_headers orbel_flags)
  target_compile_options(room_${name} PRIVATE -fno-exceptions)
  orbel_see(room_${name} ${name} ${ARG_USES})
  set_property(GLOBAL APPEND PROPERTY ORBEL_ROOM_LIST ${name})
  set_property(GLOBAL PROPERTY ORBEL_ROOM_USES_${name} ${ARG_USES})
endfunction()

# orbel_use_rooms(target rooms...): links rooms, and all that they use, into a
# program, which may include the headers of the named ones only.
function(orbel_use_rooms target)
  set(open ${ARGN})
  set(seen)
  while(open)
    list(POP_FRONT open room)
    if(NOT room IN_LIST seen)
      list(APPEND seen ${room})
      get_property(uses GLOBAL PROPERTY ORBEL_ROOM_USES_${room})
      list(APPEND open ${uses})
    endif()
  endwhile()
  foreach(room IN LISTS seen)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:room_${room}>)
  endforeach()
  target_link_libraries(${target} PRIVATE orbel_headers orbel_flags ${CMAKE_DL_LIBS})
  orbel_see(${target} ${ARGN})
endfunction()

# orbel_test(name ROOMS rooms... SOURCES files...): a GoogleTest program.
function(orbel_test name)
  cmake_parse_arguments(ARG "" "" "ROOMS;SOURCES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  orbel_use_rooms(${name} ${ARG_ROOMS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(${name} PRIVATE ORBEL_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data")
  target_link_libraries(${name} PRIVATE GTest::gtest GTest::gtest_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 180)
endfunction()
