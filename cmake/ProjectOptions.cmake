# What every target of this tree is compiled and linked with.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# The build tree has the layout of an installation and may be moved like one.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
file(RELATIVE_PATH PXFLOWBOOK_LIB_FROM_BIN ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set(CMAKE_INSTALL_RPATH $ORIGIN $ORIGIN/../lib $ORIGIN/${PXFLOWBOOK_LIB_FROM_BIN})
list(REMOVE_DUPLICATES CMAKE_INSTALL_RPATH)
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)
# One run path for both: CMake would pad that of the build tree with empty entries, which mean the working directory.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

# Gives `target` the warnings of this project. The presets make errors of them; whoever builds this as a part of
# something else, perhaps with another compiler, is not stopped by one.
function(pxflowbook_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
        # Clang counts sign changes as conversions and GCC does not; both compilers are to agree.
        target_compile_options(${target} PRIVATE -Wno-sign-conversion)
    endif()
endfunction()

# Has the sources of `target` compiled many at a time, where PXFLOWBOOK_UNITY is on: for building it all once, not for
# working on it. A name then stands for one thing in all sources of a target, hidden or not.
set(CMAKE_UNITY_BUILD_BATCH_SIZE 24 CACHE STRING "How many sources are compiled at a time; 0: all of a target")
function(pxflowbook_compile_together target)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ${PXFLOWBOOK_UNITY})
endfunction()

# Keeps what the headers of the XML library define out of `library`, and so the need to load that library with it.
function(pxflowbook_leave_out_xerces library)
    if(PXFLOWBOOK_KIND STREQUAL STATIC)
        return()
    endif()
    set_target_properties(${library} PROPERTIES PXFLOWBOOK_WITHOUT_XERCES ON
        LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/local_xerces.map)
    target_link_options(${library} PRIVATE
        LINKER:--gc-sections,--version-script=${PROJECT_SOURCE_DIR}/cmake/local_xerces.map)
endfunction()

# dlclose() then leaves the library where it is: threads that end call into it, and what it keeps for good refers to it.
function(pxflowbook_stay_loaded library)
    if(PXFLOWBOOK_KIND STREQUAL STATIC)
        return()
    endif()
    target_link_options(${library} PRIVATE LINKER:-z,nodelete)
endfunction()

# The command is linked with archives of the libraries, its own among them, as the dynamic linker would take longer than
# all else that most runs do. Not with those of a host's platform, of which there need not be any.
if(PXFLOWBOOK_PLATFORM OR PXFLOWBOOK_SANITIZE OR PXFLOWBOOK_COVERAGE OR PXFLOWBOOK_KIND STREQUAL STATIC)
    set(PXFLOWBOOK_STATIC_COMMAND OFF)
endif()

# Sets `result` to what a library is linked by: lib`name`.a in targets that have the property PXFLOWBOOK_ARCHIVES, where
# there is such a file, and `target` in all others.
function(pxflowbook_choose_archive result name target)
    find_library(PXFLOWBOOK_ARCHIVE_OF_${name} NAMES lib${name}.a)
    mark_as_advanced(PXFLOWBOOK_ARCHIVE_OF_${name})
    set(${result} ${target} PARENT_SCOPE)
    if(PXFLOWBOOK_STATIC_COMMAND AND PXFLOWBOOK_ARCHIVE_OF_${name})
        set(${result} $<IF:$<BOOL:$<TARGET_PROPERTY:PXFLOWBOOK_ARCHIVES>>,${PXFLOWBOOK_ARCHIVE_OF_${name}},${target}>
            PARENT_SCOPE)
    endif()
endfunction()

add_link_options(LINKER:--as-needed)
if(PXFLOWBOOK_SANITIZE)
    add_compile_options(-fsanitize=${PXFLOWBOOK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${PXFLOWBOOK_SANITIZE})
endif()
# Clang leaves the sanitizer's run-time to the executable, so its shared libraries have undefined symbols.
if(NOT (PXFLOWBOOK_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES Clang))
    add_link_options(LINKER:--no-undefined LINKER:-z,defs)
endif()
# All of this reads files that may be hostile. The sanitizers find the same faults earlier, and cannot where the checks of
# _FORTIFY_SOURCE stand in for the functions that they watch.
if(PXFLOWBOOK_HARDENING AND NOT PXFLOWBOOK_SANITIZE AND NOT PXFLOWBOOK_COVERAGE)
    include(CheckPIESupported)
    check_pie_supported()
    add_compile_options(-fstack-protector-strong -fstack-clash-protection)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i.86")
        add_compile_options(-fcf-protection)
    endif()
    # The checks take an optimising compiler.
    add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
    add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()
if(PXFLOWBOOK_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
