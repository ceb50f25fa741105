# orkalin_add_module: builds a plug-in module where the module host looks for it.
#
#   orkalin_add_module(<Name> FAMILY <SERVER_Mod|GAME_Mod|GAME_Init|ORKALIN_Mod>
#                      SOURCES <files...> [DATA <folders...>] [DATA_DIR <folder>])
#
# The module host opens `modules/<Name>/<Name>.<Family>.so` relative to the game's run directory, so the module
# is built as `${ORKALIN_RUN_DIR}/modules/<Name>/<Name>.<Family>.so` and each DATA folder (entity configs,
# meshes; relative to DATA_DIR, by default the calling directory) is copied beside it, kept up to date at every
# build. One folder holds a
# module's parts for all families: call this once per family with the same <Name>.
#
# `cmake --install` puts the module and its data under <prefix>/share/orkalin/game/modules/<Name>/, the run
# directory of an installed game. The target is named `<Name>.<Family>`; add to it as to any library.
#
# The same file serves the Orkalin source tree (where `Orkalin::game` is an alias of the tree's `game`) and an
# installed package (`find_package(Orkalin)` includes it), so a module builds the same way in both.

include_guard(GLOBAL)
include(GNUInstallDirs)

if(NOT DEFINED ORKALIN_RUN_DIR)
  # An out-of-tree module's own run directory: start the server with `--game-dir <build>/game`.
  set(ORKALIN_RUN_DIR ${CMAKE_BINARY_DIR}/game)
endif()

function(orkalin_add_module name)
  cmake_parse_arguments(MOD "" "FAMILY;DATA_DIR" "SOURCES;DATA" ${ARGN})
  if(NOT MOD_DATA_DIR)
    set(MOD_DATA_DIR ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  set(families SERVER_Mod GAME_Mod GAME_Init ORKALIN_Mod)
  if(NOT MOD_FAMILY IN_LIST families)
    message(FATAL_ERROR "orkalin_add_module(${name}): FAMILY must be one of ${families}, not '${MOD_FAMILY}'")
  endif()
  if(NOT MOD_SOURCES)
    message(FATAL_ERROR "orkalin_add_module(${name}): no SOURCES")
  endif()

  set(target ${name}.${MOD_FAMILY})
  set(out_dir ${ORKALIN_RUN_DIR}/modules/${name})
  set(install_dir ${CMAKE_INSTALL_DATADIR}/orkalin/game/modules/${name})
  add_library(${target} MODULE ${MOD_SOURCES})
  set_target_properties(${target} PROPERTIES
    PREFIX "" SUFFIX ".so" OUTPUT_NAME ${target}
    LIBRARY_OUTPUT_DIRECTORY ${out_dir}
    # The host has game.so loaded already; the path is for tools that open the module alone (ldd, nm -D).
    INSTALL_RPATH "$ORIGIN/../../../../../${CMAKE_INSTALL_LIBDIR}/orkalin")
  target_link_libraries(${target} PRIVATE Orkalin::game)
  install(TARGETS ${target} LIBRARY DESTINATION ${install_dir})

  foreach(folder ${MOD_DATA})
    if(NOT IS_DIRECTORY ${MOD_DATA_DIR}/${folder})
      message(FATAL_ERROR "orkalin_add_module(${name}): no DATA folder ${MOD_DATA_DIR}/${folder}")
    endif()
    file(GLOB_RECURSE files CONFIGURE_DEPENDS ${MOD_DATA_DIR}/${folder}/*)
    foreach(file ${files})
      file(RELATIVE_PATH relative ${MOD_DATA_DIR} ${file})
      add_custom_command(OUTPUT ${out_dir}/${relative}
        COMMAND ${CMAKE_COMMAND} -E copy ${file} ${out_dir}/${relative} DEPENDS ${file})
      target_sources(${target} PRIVATE ${out_dir}/${relative})
    endforeach()
    install(DIRECTORY ${MOD_DATA_DIR}/${folder} DESTINATION ${install_dir})
  endforeach()
endfunction()
