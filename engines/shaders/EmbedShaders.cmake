# Writes one header with every GLSL file of this folder as a string constant, so the programs are
# part of the binary. Run at configure time; each shader is a configure dependency.
function(tavrin_embed_shaders out_header)
  file(GLOB shaders CONFIGURE_DEPENDS ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/*.vert
       ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/*.frag)
  set(text "// Generated from engines/shaders at configure time. Do not edit.\n#pragma once\n\nnamespace tv::gl::shaders {\n")
  foreach(shader ${shaders})
    get_filename_component(name ${shader} NAME)
    string(REPLACE "." "_" id ${name})
    file(READ ${shader} body)
    string(APPEND text "inline constexpr const char* ${id} = R\"GLSL(${body})GLSL\";\n")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${shader})
  endforeach()
  string(APPEND text "}  // namespace tv::gl::shaders\n")
  file(CONFIGURE OUTPUT ${out_header} CONTENT "${text}" @ONLY)
endfunction()
