# Layers.cmake - one static library per source folder, seeing only the folders it depends on.
#
# tessellan_layer(NAME [DEPENDS layer...] [LIBS lib...]) builds src/NAME/*.cpp into the target
# tessellan_NAME. Headers are included as "NAME/File.h"; a target's include path holds its own
# folder and, through its dependencies, theirs, and nothing else. A file that includes a header
# of a folder above it (or beside it, undeclared) therefore fails to compile.
function(tessellan_layer name)
    cmake_parse_arguments(LAYER "" "" "DEPENDS;LIBS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    list(REMOVE_ITEM sources ${CMAKE_CURRENT_SOURCE_DIR}/main.cpp)
    add_library(tessellan_${name} STATIC ${sources})
    set(include_root ${CMAKE_BINARY_DIR}/layers/${name})
    file(MAKE_DIRECTORY ${include_root})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${include_root}/${name} SYMBOLIC)
    target_include_directories(tessellan_${name} PUBLIC ${include_root})
    set(deps)
    foreach(dep ${LAYER_DEPENDS})
        list(APPEND deps tessellan_${dep})
    endforeach()
    target_link_libraries(tessellan_${name} PUBLIC ${deps} ${LAYER_LIBS})
endfunction()
