# Sets PXFLOWBOOK_BUILD_DATE so that building the same commit twice gives the same library: SOURCE_DATE_EPOCH, else the
# time of the commit, else a fixed text.
function(pxflowbook_find_commit_epoch result)
    set(${result} "" PARENT_SCOPE)
    find_package(Git QUIET)
    # Without this test an unpacked archive would take the date of whatever checkout it happens to lie in.
    if(NOT Git_FOUND OR NOT EXISTS ${PROJECT_SOURCE_DIR}/.git)
        return()
    endif()
    execute_process(
        COMMAND ${GIT_EXECUTABLE} -C ${PROJECT_SOURCE_DIR} log -1 --format=%ct
        OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    set(${result} "${epoch}" PARENT_SCOPE)
    if(EXISTS ${PROJECT_SOURCE_DIR}/.git/logs/HEAD)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/.git/logs/HEAD)
    endif()
endfunction()

function(pxflowbook_set_build_date)
    if("$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
        pxflowbook_find_commit_epoch(epoch)
    else()
        set(epoch $ENV{SOURCE_DATE_EPOCH})
    endif()
    if("${epoch}" STREQUAL "")
        set(date "unknown")
    else()
        set(ENV{SOURCE_DATE_EPOCH} ${epoch}) # which string(TIMESTAMP) takes instead of the clock
        string(TIMESTAMP date "%Y-%m-%dT%H:%M:%SZ" UTC)
        unset(ENV{SOURCE_DATE_EPOCH})
    endif()
    set(PXFLOWBOOK_BUILD_DATE ${date} PARENT_SCOPE)
endfunction()

pxflowbook_set_build_date()
