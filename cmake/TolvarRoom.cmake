# One folder of src is one room: a static library whose headers only those who link it can include.
#
#   tolvar_room(tolvar_platform_hive SOURCES hive.cpp ... PUBLIC tolvar_platform_system PRIVATE ...)
#   tolvar_room(tolvar_valuelist WIDGETS SOURCES ...)      # a room of the window
#   tolvar_room(tolvar_ui WIDGETS PRECOMPILE <QWidget> ... SOURCES ...)
#
# A header is included by its path below src ("platform/hive/hive.h"). src itself is on no include path: each room has
# a folder of its own in the build tree with a link to each of its headers, and that folder travels with the target. An
# include that no arrow of the house allows therefore does not compile; a room in a folder below (journal/ui) is another
# room.
#
# WIDGETS: the room has classes with signals, and precompiles the toolkit's headers: its own choice of them where
# PRECOMPILE names one, else that of tolvar_ui.
function(tolvar_room target)
    cmake_parse_arguments(ROOM "WIDGETS" "" "SOURCES;PUBLIC;PRIVATE;PRECOMPILE" ${ARGN})
    add_library(${target} STATIC ${ROOM_SOURCES})
    file(RELATIVE_PATH folder ${CMAKE_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
    set(view ${CMAKE_BINARY_DIR}/rooms/${target})
    file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} *.h)
    file(REMOVE_RECURSE ${view})
    file(MAKE_DIRECTORY ${view}/${folder})
    foreach(header IN LISTS headers)
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${view}/${folder}/${header} SYMBOLIC)
    endforeach()
    target_include_directories(${target} PUBLIC ${view})
    target_link_libraries(${target} PUBLIC ${ROOM_PUBLIC} PRIVATE ${ROOM_PRIVATE})
    tolvar_warnings(${target})
    if(ROOM_WIDGETS)
        set_target_properties(${target} PROPERTIES AUTOMOC ON)
    endif()
    if(TOLVAR_PCH AND ROOM_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${ROOM_PRECOMPILE})
    elseif(TOLVAR_PCH AND ROOM_WIDGETS)
        target_precompile_headers(${target} REUSE_FROM tolvar_ui)
    endif()
endfunction()
