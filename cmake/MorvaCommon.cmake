# Compile settings shared by every target of the project: one interface target that all link.
add_library(morva_common INTERFACE)
target_compile_options(morva_common INTERFACE
    -Wall -Wextra -Wpedantic -Werror
    -Wold-style-cast -Wshadow=local -Wnon-virtual-dtor -Wcast-qual)
target_compile_definitions(morva_common INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_KEYWORDS _GLIBCXX_ASSERTIONS
    MORVA_VERSION_MAJOR=${PROJECT_VERSION_MAJOR}
    MORVA_VERSION_MINOR=${PROJECT_VERSION_MINOR}
    MORVA_VERSION_PATCH=${PROJECT_VERSION_PATCH})
target_include_directories(morva_common INTERFACE ${PROJECT_SOURCE_DIR})

if(MORVA_SANITIZE STREQUAL "address")
    target_compile_options(morva_common INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer
                                                   -fno-sanitize-recover=undefined)
    target_link_options(morva_common INTERFACE -fsanitize=address,undefined)
elseif(MORVA_SANITIZE STREQUAL "thread")
    target_compile_options(morva_common INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(morva_common INTERFACE -fsanitize=thread)
elseif(NOT MORVA_SANITIZE STREQUAL "")
    message(FATAL_ERROR "MORVA_SANITIZE must be empty, 'address' or 'thread'")
endif()

# morva_library(name SOURCES ... LINKS ...): a static library of the project. SOURCES lists its headers
# too; LINKS every library whose headers it includes, and the external ones it uses.
function(morva_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC morva_common ${ARG_LINKS})
endfunction()

# The folders of the build below `dir` (itself included) and the targets defined in them.
function(morva_targets_below dir out_targets out_folders)
    get_property(targets DIRECTORY "${dir}" PROPERTY BUILDSYSTEM_TARGETS)
    get_property(subdirs DIRECTORY "${dir}" PROPERTY SUBDIRECTORIES)
    set(folders "${dir}")
    foreach(sub IN LISTS subdirs)
        morva_targets_below("${sub}" below_targets below_folders)
        list(APPEND targets ${below_targets})
        list(APPEND folders ${below_folders})
    endforeach()
    set(${out_targets} ${targets} PARENT_SCOPE)
    set(${out_folders} ${folders} PARENT_SCOPE)
endfunction()

# Writes the folders of the build, and every library and executable with its folder, its sources and its
# direct links, to `file`: one line each ("binary", "folder", "target", "sources", "links", fields
# separated by tabs), for the layering test.
function(morva_write_targets_file file)
    morva_targets_below("${PROJECT_SOURCE_DIR}" targets folders)
    set(content "binary\t${PROJECT_BINARY_DIR}\n")
    foreach(folder IN LISTS folders)
        string(APPEND content "folder\t${folder}\n")
    endforeach()
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        if(type STREQUAL "INTERFACE_LIBRARY")
            set(links INTERFACE_LINK_LIBRARIES)
        elseif(type STREQUAL "STATIC_LIBRARY" OR type STREQUAL "EXECUTABLE")
            set(links LINK_LIBRARIES)
        else()
            continue()
        endif()
        string(APPEND content "target\t${target}\t$<TARGET_PROPERTY:${target},SOURCE_DIR>\n"
               "sources\t$<JOIN:$<TARGET_PROPERTY:${target},SOURCES>,\t>\n"
               "links\t$<JOIN:$<TARGET_PROPERTY:${target},${links}>,\t>\n")
    endforeach()
    file(GENERATE OUTPUT "${file}" CONTENT "${content}")
endfunction()
