# The layers of the code, each a static library. A layer's include path is one folder of links
# made here, holding only its own folders and those of the layers it may use, so an include that
# reaches upward (host/ into engines/, say) does not compile; and a layer links only the layers
# below it.

# Makes build/layers/NAME with a link to each of FOLDERS (paths under the source tree) and sets
# NAME_ROOT in the caller to it.
function(tavrin_layer_root name)
  set(root ${CMAKE_BINARY_DIR}/layers/${name})
  file(REMOVE_RECURSE ${root})
  foreach(folder ${ARGN})
    get_filename_component(parent ${root}/${folder} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder} ${root}/${folder} SYMBOLIC)
  endforeach()
  set(${name}_ROOT ${root} PARENT_SCOPE)
endfunction()

# tavrin_layer(NAME FOLDERS f... SEES f... LINKS t...): a static library of every .cpp under
# FOLDERS that may include headers from FOLDERS and SEES, linking LINKS.
function(tavrin_layer name)
  cmake_parse_arguments(L "" "" "FOLDERS;SEES;LINKS" ${ARGN})
  tavrin_layer_root(${name} ${L_FOLDERS} ${L_SEES})
  set(sources)
  foreach(folder ${L_FOLDERS})
    file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${${name}_ROOT})
  target_compile_options(${name} PRIVATE ${TAVRIN_WARNINGS})
  target_link_libraries(${name} PUBLIC ${L_LINKS})
endfunction()

# The host kit: the seam every effect talks through, host types, parameter tables, the effect
# template, geometry, gathering and the helpers every layer shares.
tavrin_layer(tavrin_kit FOLDERS host LINKS Threads::Threads)

# Parameter kinds built on the kit: curves, gradients, arbitrary data.
tavrin_layer(tavrin_params FOLDERS params SEES host LINKS tavrin_kit)

# The drawing engines: software rasterisers, OpenGL, SVG.
tavrin_layer(tavrin_engines FOLDERS engines SEES host LINKS tavrin_kit PkgConfig::AGG GLEW::GLEW
  OpenGL::OpenGL OpenGL::EGL OpenGL::GLU)
# The GLSL programs become string constants in a generated header.
include(engines/shaders/EmbedShaders.cmake)
tavrin_embed_shaders(${CMAKE_BINARY_DIR}/generated/engines/shaders/Shaders.h)
target_include_directories(tavrin_engines PUBLIC ${CMAKE_BINARY_DIR}/generated)

# The effects: sources, effectors and renderers. They reach the engines only through the kit.
tavrin_layer(tavrin_effects FOLDERS sources effectors renderers SEES host params
  LINKS tavrin_params tavrin_kit nanoflann::nanoflann Qhull::qhullcpp meshoptimizer::meshoptimizer
  OpenGL::GLU PkgConfig::KISSFFT)
# Qhull's C++ headers do not compile as C++20: the one file that includes them is C++17.
set_source_files_properties(renderers/QhullTriangulate.cpp PROPERTIES COMPILE_OPTIONS -std=c++17)

# The main effect, its frame driver and the toolkit, and the table of all 21 effects.
tavrin_layer(tavrin_main FOLDERS main resources
  SEES host params engines sources effectors renderers
  LINKS tavrin_effects tavrin_engines)

# The embedded host: composition model, documents, I/O; implements HostServices.
tavrin_layer(tavrin_standalone FOLDERS standalone
  SEES host params engines sources effectors renderers main resources
  LINKS tavrin_main TBB::tbb nlohmann_json::nlohmann_json fmt::fmt PNG::PNG ${CMAKE_DL_LIBS}
  PkgConfig::SNDFILE Freetype::Freetype PkgConfig::HARFBUZZ PkgConfig::FONTCONFIG PkgConfig::AGG)
target_compile_definitions(tavrin_standalone PUBLIC TAVRIN_SOURCE_DIR="${CMAKE_SOURCE_DIR}")

# OpenImageIO brings some 260 shared libraries, most of a second at every start: it lives in a
# module of its own (imageio/), which the embedded host loads the first time it reads an image or
# writes a frame in a format other than 8-bit PNG (standalone/ImageModule.cpp).
add_library(tavrin_image MODULE imageio/OiioModule.cpp)
target_compile_options(tavrin_image PRIVATE ${TAVRIN_WARNINGS})
target_link_libraries(tavrin_image PRIVATE OpenImageIO::OpenImageIO)
set_target_properties(tavrin_image PROPERTIES CXX_VISIBILITY_PRESET hidden)
add_dependencies(tavrin_standalone tavrin_image)
target_compile_definitions(tavrin_standalone PRIVATE
  TAVRIN_IMAGE_MODULE_PATH="$<TARGET_FILE:tavrin_image>")
