# Builds text files into a C++ source as string constants, so the binary runs without its
# resources installed. Produces a function `std::string_view <fn>(std::string_view name)`
# that returns the named file's contents, or an empty view when there is none.
function(tidyloom_embed_files target fn)
  set(out "${CMAKE_CURRENT_BINARY_DIR}/${target}_embedded.cpp")
  add_custom_command(
    OUTPUT "${out}"
    COMMAND ${CMAKE_COMMAND} -DOUT=${out} -DFN=${fn} "-DFILES=${ARGN}"
            -P "${PROJECT_SOURCE_DIR}/cmake/EmbedScript.cmake"
    DEPENDS ${ARGN} "${PROJECT_SOURCE_DIR}/cmake/EmbedScript.cmake"
    COMMENT "Embedding files for ${target}"
    VERBATIM)
  target_sources(${target} PRIVATE "${out}")
endfunction()
