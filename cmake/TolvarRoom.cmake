# One folder of src is one room: a static library whose headers only those who link it can include.
#
#   tolvar_room(tolvar_platform_hive SOURCES hive.cpp ... PUBLIC tolvar_platform_system PRIVATE ...)
#
# A header is included by its path below src ("platform/hive/hive.h"). src itself is on no include path: each room has
# a folder of its own in the build tree that holds a link to the room and nothing else, and that folder travels with the
# target. An include that no arrow of the house allows therefore does not compile.
function(tolvar_room target)
    cmake_parse_arguments(ROOM "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${target} STATIC ${ROOM_SOURCES})
    file(RELATIVE_PATH folder ${CMAKE_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
    set(view ${CMAKE_BINARY_DIR}/rooms/${target})
    get_filename_component(parent ${view}/${folder} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${view}/${folder} SYMBOLIC)
    target_include_directories(${target} PUBLIC ${view})
    target_link_libraries(${target} PUBLIC ${ROOM_PUBLIC} PRIVATE ${ROOM_PRIVATE})
    tolvar_warnings(${target})
endfunction()
