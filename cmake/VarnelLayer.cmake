# One target a layer.  A layer's headers are reachable only through the target's own include root,
# build/include/<target>/, which holds links to the headers of the layer's folder and nothing else; a layer that
# does not link another cannot include its headers, whatever path it writes.
#
# varnel_layer(<target> FOLDER <folder below the source root> [QT]
#              [PUBLIC <libraries that its headers need>] [PRIVATE <libraries that only its sources need>]
#              [PRECOMPILE <others' headers that cost most of the layer's build>])
function(varnel_layer target)
  cmake_parse_arguments(LAYER "QT" "FOLDER" "PUBLIC;PRIVATE;PRECOMPILE" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${LAYER_FOLDER}/*.cpp)
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${LAYER_FOLDER}/*.h)

  # The link farm is shared by all presets and relative, so that objects stay the same across them.
  set(include_root ${CMAKE_SOURCE_DIR}/build/include/${target})
  file(MAKE_DIRECTORY ${include_root}/${LAYER_FOLDER})
  file(RELATIVE_PATH to_folder ${include_root}/${LAYER_FOLDER} ${CMAKE_SOURCE_DIR}/${LAYER_FOLDER})
  foreach(header IN LISTS headers)
    get_filename_component(name ${header} NAME)
    if(NOT EXISTS ${include_root}/${LAYER_FOLDER}/${name})
      file(CREATE_LINK ${to_folder}/${name} ${include_root}/${LAYER_FOLDER}/${name}
        RESULT ignored SYMBOLIC)
    endif()
  endforeach()

  if(sources)
    add_library(${target} STATIC ${sources} ${headers})
    target_include_directories(${target} PUBLIC ${include_root})
    target_link_libraries(${target} PUBLIC ${LAYER_PUBLIC} PRIVATE varnel_options ${LAYER_PRIVATE})
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    if(LAYER_PRECOMPILE)
      varnel_precompile(${target} ${LAYER_PRECOMPILE})
    endif()
    if(LAYER_QT)
      set_target_properties(${target} PROPERTIES AUTOMOC ON)
      target_compile_definitions(${target} PUBLIC QT_NO_KEYWORDS PRIVATE QT_NO_CAST_TO_ASCII)
    endif()
  else()
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE ${include_root})
    target_link_libraries(${target} INTERFACE ${LAYER_PUBLIC})
  endif()
endfunction()
