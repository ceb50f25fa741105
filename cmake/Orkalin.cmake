# Shared build settings for our own targets (never applied to anything we link from the system).
function(orkalin_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  # clang's warnings are not g++'s: the fuzzing build (clang) warns without stopping.
  if(NOT ORKALIN_FUZZ)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # g++ 12 at -O3 reports impossible overlaps inside std::string's own inlined code (GCC bug 105651).
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
endfunction()

# A shared library named exactly as the engine and the game expect: build/lib/<Name>.so, no "lib" prefix.
function(orkalin_shared_library target)
  add_library(${target} SHARED ${ARGN})
  set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${target})
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/orkalin>)
  # The headers are C++20: whatever builds against them (a module outside this tree) is too.
  target_compile_features(${target} PUBLIC cxx_std_20)
  # Installed, the engine and the game sit side by side in <prefix>/lib/orkalin/ (cmake/Install.cmake).
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  # A library's calls to its own functions go straight to them (and may be inlined) instead of through the
  # PLT: nobody replaces the engine's or the game's functions by loading a library with the same symbols.
  target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  orkalin_warnings(${target})
endfunction()

# __FILE__ relative to the source tree: assertion messages name "game/Chemistry", not a build machine's path.
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

# Vulkan's structures are written `VkThing info{VK_STRUCTURE_TYPE_THING};`, the rest zero: the idiom the API
# is designed for. Code that fills Vulkan structures takes it without a warning per structure.
function(orkalin_vulkan_idiom target)
  target_compile_options(${target} PRIVATE -Wno-missing-field-initializers)
endfunction()

# orkalin_runtime_files(DESTINATION <path in the run directory> FILES <absolute paths...>): data the game opens
# by a relative path (fonts, shaders, sounds). Copied into ${ORKALIN_RUN_DIR}/<path> when the build is
# configured and again whenever a file changes, and installed under <prefix>/share/orkalin/game/<path>.
function(orkalin_runtime_files)
  cmake_parse_arguments(RT "" "DESTINATION" "FILES" ${ARGN})
  foreach(file ${RT_FILES})
    get_filename_component(name ${file} NAME)
    configure_file(${file} ${ORKALIN_RUN_DIR}/${RT_DESTINATION}/${name} COPYONLY)
  endforeach()
  install(FILES ${RT_FILES} DESTINATION ${CMAKE_INSTALL_DATADIR}/orkalin/game/${RT_DESTINATION})
endfunction()
