# The shared library, its export list and its installation. cmake/exports.txt
# lists every export: the linker shows those alone, and the build fails when
# the library does not have exactly them.

file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/exports.txt ORBEL_EXPORTS)
list(JOIN ORBEL_EXPORTS ";\n    " ORBEL_EXPORT_LINES)
set(ORBEL_EXPORT_MAP ${PROJECT_BINARY_DIR}/exports.map)
file(WRITE ${ORBEL_EXPORT_MAP}
  "{\n  global:\n    ${ORBEL_EXPORT_LINES};\n  local:\n    *;\n};\n")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS cmake/exports.txt)

get_property(rooms GLOBAL PROPERTY ORBEL_ROOM_LIST)
add_library(orbel_audio_mpeg SHARED)
add_library(orbel::audio_mpeg ALIAS orbel_audio_mpeg)
foreach(room IN LISTS rooms)
  target_sources(orbel_audio_mpeg PRIVATE $<TARGET_OBJECTS:room_${room}>)
endforeach()
target_include_directories(orbel_audio_mpeg PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(orbel_audio_mpeg PRIVATE $<BUILD_INTERFACE:orbel_flags> ${CMAKE_DL_LIBS})
# Calls between the library's own exports stay inside it.
target_link_options(orbel_audio_mpeg PRIVATE
  -Wl,--version-script=${ORBEL_EXPORT_MAP} -Wl,-Bsymbolic -Wl,--gc-sections)
if(NOT ORBEL_SANITIZE)
  target_link_options(orbel_audio_mpeg PRIVATE -Wl,-z,defs)
endif()
set_target_properties(orbel_audio_mpeg PROPERTIES
  OUTPUT_NAME orbel.audio.mpeg
  EXPORT_NAME audio_mpeg
  LINKER_LANGUAGE CXX
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS "${ORBEL_EXPORT_MAP}"
  LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
add_custom_command(TARGET orbel_audio_mpeg POST_BUILD
  COMMAND ${PROJECT_SOURCE_DIR}/cmake/check_exports.sh $<TARGET_FILE:orbel_audio_mpeg>
          ${PROJECT_SOURCE_DIR}/cmake/exports.txt
  VERBATIM)

# ---- installation ---------------------------------------------------------

include(CMakePackageConfigHelpers)
set(ORBEL_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/orbel.audio.mpeg)
install(TARGETS orbel_audio_mpeg EXPORT orbel_targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/orbel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT orbel_targets NAMESPACE orbel:: DESTINATION ${ORBEL_PACKAGE_DIR}
  FILE orbel.audio.mpeg-config.cmake)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orbel.audio.mpeg-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orbel.audio.mpeg-config-version.cmake
  DESTINATION ${ORBEL_PACKAGE_DIR})
# The file finds its prefix from where it lies, so that a moved tree still works.
file(RELATIVE_PATH ORBEL_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/orbel.audio.mpeg.pc.in ${PROJECT_BINARY_DIR}/orbel.audio.mpeg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orbel.audio.mpeg.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
