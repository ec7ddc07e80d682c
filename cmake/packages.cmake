# The Debian packages: libvca1 (the library), vca (the program), vca-service (its unit) and vca-dev
# (what a host is built with). cpack makes them of a build; scripts/package.sh does all of it for either processor.
set(library_documents ${CMAKE_INSTALL_DATADIR}/doc/libvca1)
set(runtime_documents ${CMAKE_INSTALL_DATADIR}/doc/vca)
set(service_documents ${CMAKE_INSTALL_DATADIR}/doc/vca-service)
set(development_documents ${CMAKE_INSTALL_DATADIR}/doc/vca-dev)
install(FILES docs/user-guide.md docs/network.md docs/formats.md docs/database.md docs/audit.md
              docs/privacy.md docs/security.md
        DESTINATION ${runtime_documents} COMPONENT runtime)
install(DIRECTORY host/examples DESTINATION ${runtime_documents} COMPONENT runtime)
install(FILES packaging/prometheus/vca_alerts.yml packaging/prometheus/vca_dashboard.json
        DESTINATION ${runtime_documents}/examples/prometheus COMPONENT runtime)
if(VCA_WITH_SERVICE)
    # Places of the whole system: a plain `cmake --install` into a folder of one's own has no use for
    # them.
    install(FILES packaging/vca.service DESTINATION lib/systemd/system
            COMPONENT service EXCLUDE_FROM_ALL)
    install(DIRECTORY DESTINATION /etc/vca COMPONENT service EXCLUDE_FROM_ALL
            DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                  WORLD_READ WORLD_EXECUTE)
    install(DIRECTORY DESTINATION /etc/vca/credentials COMPONENT service EXCLUDE_FROM_ALL
            DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    install(FILES packaging/vca-service/vca.toml DESTINATION ${service_documents}/examples
            COMPONENT service EXCLUDE_FROM_ALL)
endif()
install(FILES docs/porting.md docs/messages.md DESTINATION ${development_documents}
        COMPONENT development)
install(FILES examples/host/CMakeLists.txt examples/host/main.cpp
        DESTINATION ${development_documents}/examples/host COMPONENT development)

# What Debian asks of every package; a plain `cmake --install` leaves it out.
function(install_compressed file destination component name)
    set(packed ${PROJECT_BINARY_DIR}/packaging/${component}/${file}.gz)
    install(CODE "
        get_filename_component(folder \"${packed}\" DIRECTORY)
        file(MAKE_DIRECTORY \"\${folder}\")
        execute_process(COMMAND gzip -9nc \"${PROJECT_SOURCE_DIR}/${file}\"
                        OUTPUT_FILE \"${packed}\" COMMAND_ERROR_IS_FATAL ANY)"
        COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES ${packed} DESTINATION ${destination} RENAME ${name}
            COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()
install_compressed(packaging/vca.1 ${CMAKE_INSTALL_MANDIR}/man1 runtime vca.1.gz)
install_compressed(CHANGELOG.md ${library_documents} library changelog.gz)
install_compressed(CHANGELOG.md ${runtime_documents} runtime changelog.gz)
install_compressed(CHANGELOG.md ${development_documents} development changelog.gz)
if(VCA_WITH_SERVICE)
    install_compressed(CHANGELOG.md ${service_documents} service changelog.gz)
endif()
# The program is linked with libraries under another licence than the project's own.
function(install_copyright file destination component)
    install(FILES packaging/${file} DESTINATION ${destination} RENAME copyright
            COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()
install_copyright(libvca1.copyright ${library_documents} library)
install_copyright(vca.copyright ${runtime_documents} runtime)
install_copyright(libvca1.copyright ${development_documents} development)
if(VCA_WITH_SERVICE)
    install_copyright(libvca1.copyright ${service_documents} service)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vca)
# Each package has a description of its own, first line included.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "The vca developers <vca@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library runtime development)
if(VCA_WITH_SERVICE)
    list(APPEND CPACK_COMPONENTS_ALL service)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libvca1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
"people counting for overhead depth cameras (library)
The library libvca follows the people whom a camera on the ceiling sees in colour
and depth, measures their height and counts them across lines and in regions. It
reports to its host in messages of a fixed size.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME vca)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION video)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
"people counting for overhead depth cameras (program)
The program vca is the reference host of the library libvca: it runs the analysis
over simulated scenes, recorded walks and recordings of depth cameras.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libvca1 (= ${PROJECT_VERSION})")
# The broker between the cameras of a site; a single camera needs none.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS mosquitto)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# Where the program's libvca lies before it is packed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
if(CMAKE_SYSROOT)
    # Libraries of another processor are not in this machine's package database.
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
        ${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}
        ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()

set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME vca-service)
set(CPACK_DEBIAN_SERVICE_PACKAGE_SECTION video)
set(CPACK_DEBIAN_SERVICE_DESCRIPTION
"people counting for overhead depth cameras (service)
The unit by which systemd runs the cameras of a place from the start of the machine
on, with a user of its own, limits and a watchdog.")
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS "vca (= ${PROJECT_VERSION}), systemd")
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/vca-service/postinst
    ${PROJECT_SOURCE_DIR}/packaging/vca-service/prerm
    ${PROJECT_SOURCE_DIR}/packaging/vca-service/postrm)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME vca-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"people counting for overhead depth cameras (development files)
Headers, link, CMake and pkg-config files for hosts of the library libvca, the
porting guide, the reference of its messages, and a small host as an example.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libvca1 (= ${PROJECT_VERSION})")

set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/ldconfig_trigger.cmake)
include(CPack)
