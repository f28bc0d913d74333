# The Debian packages that `cpack` makes: the libraries, what building against them takes, the command, and the Python
# package.
set(CPACK_GENERATOR DEB)
# The project takes no mail so far; whoever distributes the packages names the address that does.
set(PXFLOWBOOK_MAINTAINER "The libpxflowbook developers <maintainers@users.noreply.pxflowbook.example>"
    CACHE STRING "Maintainer of the packages")
set(CPACK_PACKAGE_CONTACT ${PXFLOWBOOK_MAINTAINER})
# Each package has a first line of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET pxplatform)
    list(APPEND CPACK_COMPONENTS_ALL platform platform-development)
endif()
if(TARGET flowbook)
    list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(TARGET flowbook_python)
    list(APPEND CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The command's dependency on the libraries is stated below: at packaging time no package has them yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)

set(runtime_package libpxflowbook${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARIES_DESCRIPTION 
    "libraries that read and write flowbook files
Flowbook files (.tqx, .tqapp) hold TARMIC code with its stored outputs, pictures and
properties in one Open Packaging Conventions package. A save replaces the file whole
and durably or leaves it as it was. These are the shared libraries: libpxflowbook, and
libpxplatform under it.")
foreach(script postinst postrm)
    configure_file(packaging/debian-ldconfig.sh ${PROJECT_BINARY_DIR}/package/${script} COPYONLY)
    list(APPEND CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/package/${script})
endforeach()
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_HEADERS_PACKAGE_NAME libpxflowbook-dev)
set(CPACK_DEBIAN_HEADERS_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HEADERS_PACKAGE_DEPENDS
    "${runtime_package} (= ${PROJECT_VERSION}), libboost1.81-dev, libxerces-c-dev")
set(CPACK_DEBIAN_HEADERS_DESCRIPTION 
    "development files of libpxflowbook
Headers, and what CMake and pkg-config find the libraries by, for C++ programs that
read and write flowbook files (.tqx, .tqapp).")

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME flowbook)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_COMMAND_DESCRIPTION 
    "command that reads and writes flowbook files
Prints the code, properties and parts of flowbook files (.tqx, .tqapp), unpacks them,
makes new ones and changes their code and properties, on one file or thousands. With
it git shows how code has changed.")

# The module is for one version of Python.
math(EXPR python_next "${Python3_VERSION_MINOR} + 1")
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-flowbook)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION}), \
python3 (>= 3.${Python3_VERSION_MINOR}), python3 (<< 3.${python_next})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS
    "python3-dask, python3-distributed, python3-pandas, python3-fsspec, python3-aiohttp, python3-requests")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION
    "Python package that reads and writes flowbook files
Code, properties, pictures and parts of flowbook files (.tqx, .tqapp) from paths, bytes,
binary files and addresses that fsspec knows, with saves that are atomic and detect what
others changed; readers of many flowbooks for Dask.")

include(CPack)
cpack_add_component(platform GROUP libraries)
cpack_add_component(runtime GROUP libraries)
cpack_add_component(platform-development GROUP headers)
cpack_add_component(development GROUP headers)
cpack_add_component(tool GROUP command)
cpack_add_component(python GROUP python)
