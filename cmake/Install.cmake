# `cmake --install build --prefix P`: the engine, the library, the programs and the sample modules, laid out so
# that a module author builds against them with `find_package(Orkalin)` (or pkg-config) and runs the server
# without a source tree:
#
#   P/bin/orkalin-server, P/bin/orkalin
#   P/lib/orkalin/game.so, P/lib/orkalin/Vesmo*.so         (named as the engine and the game expect)
#   P/include/orkalin/game/..., P/include/orkalin/vesmo/... (#include "game/Game.hpp" as in the tree)
#   P/lib/cmake/Orkalin/                                    the CMake package, orkalin_add_module()
#   P/lib/pkgconfig/orkalin.pc
#   P/share/orkalin/game/                                   the run directory: modules/, game/ (data)

include(CMakePackageConfigHelpers)

set(ORKALIN_LIBRARIES VesmoCpu VesmoFileSystem VesmoAudio VesmoVk VesmoGraphics VesmoRenderer game)
set(ORKALIN_LIBDIR ${CMAKE_INSTALL_LIBDIR}/orkalin)
set(ORKALIN_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Orkalin)

install(TARGETS ${ORKALIN_LIBRARIES} EXPORT OrkalinTargets LIBRARY DESTINATION ${ORKALIN_LIBDIR})
foreach(program orkalin-server orkalin)
  if(TARGET ${program})
    set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/../${ORKALIN_LIBDIR}")
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
foreach(area game vesmo)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${area}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orkalin/${area}
          FILES_MATCHING PATTERN "*.hpp")
endforeach()

# The packages that the exported targets' public links name. A new public dependency fails the configure
# here until it is added, so that an installed package never asks for a target nobody finds.
set(ORKALIN_KNOWN_DEPENDENCIES
  "Threads::Threads=Threads" "glm::glm=glm" "nlohmann_json::nlohmann_json=nlohmann_json 3.11"
  "Vulkan::Vulkan=Vulkan" "Vulkan::Headers=Vulkan")
set(ORKALIN_PACKAGE_DEPENDENCIES)
foreach(library ${ORKALIN_LIBRARIES})
  get_target_property(links ${library} INTERFACE_LINK_LIBRARIES)
  foreach(link ${links})
    # Imported targets are not visible from here (they belong to the folder that found them): a name with
    # "::" is one. A plain name is a system library (dl) or one of ours.
    if(NOT link MATCHES "::" OR link MATCHES "^\\$<")
      continue()
    endif()
    set(package)
    foreach(entry ${ORKALIN_KNOWN_DEPENDENCIES})
      string(REPLACE "=" ";" pair "${entry}")
      list(GET pair 0 name)
      if(name STREQUAL link)
        list(GET pair 1 package)
      endif()
    endforeach()
    if(NOT package)
      message(FATAL_ERROR "${library} links ${link} publicly: name its package in cmake/Install.cmake")
    endif()
    list(APPEND ORKALIN_PACKAGE_DEPENDENCIES "find_dependency(${package})")
  endforeach()
endforeach()
list(REMOVE_DUPLICATES ORKALIN_PACKAGE_DEPENDENCIES)
list(JOIN ORKALIN_PACKAGE_DEPENDENCIES "\n" ORKALIN_PACKAGE_DEPENDENCIES)

install(EXPORT OrkalinTargets NAMESPACE Orkalin:: DESTINATION ${ORKALIN_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/package/OrkalinConfig.cmake.in
  ${CMAKE_BINARY_DIR}/package/OrkalinConfig.cmake INSTALL_DESTINATION ${ORKALIN_CMAKEDIR}
  PATH_VARS CMAKE_INSTALL_DATADIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/OrkalinConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/OrkalinConfig.cmake ${CMAKE_BINARY_DIR}/package/OrkalinConfigVersion.cmake
              ${CMAKE_CURRENT_LIST_DIR}/OrkalinModule.cmake
        DESTINATION ${ORKALIN_CMAKEDIR})

# pkg-config: the libraries carry no "lib" prefix, so they are named by file (-l:game.so).
set(ORKALIN_PC_LIBS)
foreach(library ${ORKALIN_LIBRARIES})
  string(PREPEND ORKALIN_PC_LIBS "-l:${library}.so ")
endforeach()
# Dear ImGui's headers, without its archive: game.so holds the one copy of ImGui a process may have.
find_package(PkgConfig REQUIRED)
pkg_get_variable(ORKALIN_IMGUI_INCLUDEDIR imgui includedir)
set(ORKALIN_PC_IMGUI_CFLAGS -I${ORKALIN_IMGUI_INCLUDEDIR})
# The file finds its prefix from where it lies, so the tree can be installed anywhere (--prefix).
file(RELATIVE_PATH ORKALIN_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/orkalin.pc.in ${CMAKE_BINARY_DIR}/package/orkalin.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/orkalin.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
