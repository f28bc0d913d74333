# Installs the libraries, their headers, the command, and what consumers find them by. The platform has components of
# its own, so that it can be installed alone.
include(CMakePackageConfigHelpers)

set(PXFLOWBOOK_PLATFORM_NAME pxplatform)
if(PXFLOWBOOK_PLATFORM)
    set(PXFLOWBOOK_PLATFORM_NAME ${PXFLOWBOOK_PLATFORM})
endif()
# What leads from the pkg-config files to the prefix, so that the installed tree may be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH PXFLOWBOOK_PREFIX_FROM_PC ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" PXFLOWBOOK_PREFIX_FROM_PC "${PXFLOWBOOK_PREFIX_FROM_PC}")

# Installs the library `name` as the CMake and the pkg-config package of the same name.
function(pxflowbook_install_library name headers runtime development)
    set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
    install(TARGETS ${name} ${name}_api EXPORT ${name}Targets
        LIBRARY COMPONENT ${runtime} NAMELINK_COMPONENT ${development})
    install(DIRECTORY ${headers}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${name} COMPONENT ${development})
    install(EXPORT ${name}Targets NAMESPACE ${name}:: DESTINATION ${cmake_dir} COMPONENT ${development})

    set(generated ${PROJECT_BINARY_DIR}/package)
    configure_package_config_file(
        cmake/${name}Config.cmake.in ${generated}/${name}Config.cmake INSTALL_DESTINATION ${cmake_dir})
    write_basic_package_version_file(${generated}/${name}ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    install(FILES ${generated}/${name}Config.cmake ${generated}/${name}ConfigVersion.cmake
        DESTINATION ${cmake_dir} COMPONENT ${development})
    configure_file(packaging/${name}.pc.in ${generated}/${name}.pc @ONLY)
    install(FILES ${generated}/${name}.pc DESTINATION ${pkgconfig_dir} COMPONENT ${development})
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
    install(TARGETS pxplatform_dom pxplatform_tables pxplatform_log LIBRARY
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/${PXPLATFORM_MODULE_FOLDER} COMPONENT platform)
endif()
if(TARGET flowbook)
    pxflowbook_install_tool()
endif()
