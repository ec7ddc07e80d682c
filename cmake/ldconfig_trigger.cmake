# Run by cpack after it has made the packages. cpack refreshes the loader's cache by scripts that call
# ldconfig; Debian does it by a trigger, once for all packages of an installation, and a package
# without scripts can be installed into a root that holds nothing else.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    set(folder ${CPACK_TEMPORARY_DIRECTORY}/repack)
    file(REMOVE_RECURSE ${folder})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder}
                    COMMAND_ERROR_IS_FATAL ANY)
    # The scripts of the service are its own.
    if(EXISTS ${folder}/DEBIAN/postinst AND NOT EXISTS ${folder}/DEBIAN/prerm)
        file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
        file(WRITE ${folder}/DEBIAN/triggers "activate-noawait ldconfig\n")
        execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${folder} ${package}
                        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    endif()
    file(REMOVE_RECURSE ${folder})
endforeach()
