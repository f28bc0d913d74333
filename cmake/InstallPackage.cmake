# Installs the libraries, their headers, the command, and what consumers find them by. The platform has components of
# its own, so that it can be installed alone.
include(CMakePackageConfigHelpers)

set(PXFLOWBOOK_PLATFORM_NAME pxplatform)
if(PXFLOWBOOK_PLATFORM)
    set(PXFLOWBOOK_PLATFORM_NAME ${PXFLOWBOOK_PLATFORM})
endif()
# What users of the platform link: the XML library only if they call it themselves, or all that is in the archive.
set(PXPLATFORM_PC_LIBS "-Wl,--push-state,--as-needed,-lxerces-c,--pop-state")
if(PXFLOWBOOK_KIND STREQUAL STATIC)
    set(PXPLATFORM_PC_LIBS "-lxerces-c -licuuc -lboost_log -lboost_thread -lboost_json -ldeflate -lexpat")
endif()

# Installs the library `name` as the CMake and the pkg-config package of the same name.
function(pxflowbook_install_library name headers runtime development)
    set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
    install(TARGETS ${name} ${name}_api EXPORT ${name}Targets
        LIBRARY COMPONENT ${runtime} NAMELINK_COMPONENT ${development}
        ARCHIVE COMPONENT ${development})
    install(DIRECTORY ${headers}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${name} COMPONENT ${development})
    install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION ${cmake_dir} COMPONENT ${development})

    set(generated ${PROJECT_BINARY_DIR}/package)
    configure_package_config_file(
        cmake/${name}Config.cmake.in ${generated}/${name}Config.cmake INSTALL_DESTINATION ${cmake_dir})
    write_basic_package_version_file(${generated}/${name}ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    install(FILES ${generated}/${name}Config.cmake ${generated}/${name}ConfigVersion.cmake
        DESTINATION ${cmake_dir} COMPONENT ${development})
    # The prefix is known when it is installed, and not before.
    set(PREFIX_WHEN_INSTALLED "@CMAKE_INSTALL_PREFIX@")
    configure_file(packaging/${name}.pc.in ${generated}/${name}.pc.in @ONLY)
    install(CODE "configure_file(\"${generated}/${name}.pc.in\" \"${generated}/${name}.pc\" @ONLY)"
        COMPONENT ${development})
    install(FILES ${generated}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${development})
endfunction()

function(pxflowbook_install_tool)
    install(TARGETS flowbook RUNTIME COMPONENT tool)
    install(FILES packaging/flowbook.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    install(FILES packaging/pxflowbook-mime.xml RENAME pxflowbook.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages COMPONENT tool)
    install(FILES packaging/completions/flowbook.bash RENAME flowbook
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
    # Debian's zsh looks for what packages bring in one folder, and for what is installed by hand in another.
    set(zsh_folder site-functions)
    if(EXISTS /etc/debian_version AND CMAKE_INSTALL_PREFIX STREQUAL /usr)
        set(zsh_folder vendor-completions)
    endif()
    install(FILES packaging/completions/_flowbook
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_folder} COMPONENT tool)
    install(FILES packaging/completions/flowbook.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)
endfunction()

pxflowbook_install_library(pxflowbook include runtime development)
if(TARGET pxplatform)
    pxflowbook_install_library(pxplatform platform/include platform platform-development)
endif()
if(TARGET pxplatform_dom)
    install(TARGETS pxplatform_dom pxplatform_tables pxplatform_log LIBRARY
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/${PXPLATFORM_MODULE_FOLDER} COMPONENT platform)
endif()
if(TARGET flowbook)
    pxflowbook_install_tool()
endif()
