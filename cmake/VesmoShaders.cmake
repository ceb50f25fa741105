# GLSL compiled to SPIR-V at build time with glslc.
#
#   vesmo_add_shaders(<target> BASE_DIR <folder> SHADERS <file> ...)
#
# Each file (a path relative to BASE_DIR, or absolute under it, with a stage extension such as .vert, .frag,
# .comp, .rgen, .rchit, .rmiss, .rcall) is compiled to ${CMAKE_BINARY_DIR}/shaders/<path relative to
# BASE_DIR>.spv before <target> builds, where vesmo::vk::Shader finds it by its base name. BASE_DIR is
# usually ${PROJECT_SOURCE_DIR}, so "game/graphics/crosshair.vert" becomes
# build/shaders/game/graphics/crosshair.vert.spv, loaded as vk::Shader(device, "game/graphics/crosshair",
# VK_SHADER_STAGE_VERTEX_BIT). "#include" looks beside the file and at the source root. A GLSL error fails
# the build with glslc's message.

find_program(GLSLC_PROGRAM glslc REQUIRED)
set(VESMO_SHADER_BUILD_DIR ${CMAKE_BINARY_DIR}/shaders)

function(vesmo_add_shaders target)
  cmake_parse_arguments(S "" "BASE_DIR" "SHADERS" ${ARGN})
  if(NOT S_BASE_DIR)
    set(S_BASE_DIR ${PROJECT_SOURCE_DIR})
  endif()
  set(outputs)
  foreach(shader ${S_SHADERS})
    get_filename_component(source ${shader} ABSOLUTE BASE_DIR ${S_BASE_DIR})
    file(RELATIVE_PATH relative ${S_BASE_DIR} ${source})
    set(output ${VESMO_SHADER_BUILD_DIR}/${relative}.spv)
    get_filename_component(output_dir ${output} DIRECTORY)
    add_custom_command(
      OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${output_dir}
      COMMAND ${GLSLC_PROGRAM} --target-env=vulkan1.3 -O -I ${PROJECT_SOURCE_DIR} -MD -MF ${output}.d
              -o ${output} ${source}
      DEPENDS ${source}
      DEPFILE ${output}.d
      COMMENT "glslc ${relative}"
      VERBATIM)
    list(APPEND outputs ${output})
  endforeach()
  add_custom_target(${target}_shaders DEPENDS ${outputs})
  add_dependencies(${target} ${target}_shaders)
endfunction()
