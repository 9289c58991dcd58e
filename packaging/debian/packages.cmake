# Debian packages by `cpack -G DEB`: celld, and celld-tools with bench and bus client.
set(CELLD_PACKAGE_REVISION 1 CACHE STRING "Debian revision of the packages: raise it for each build that is handed out")
set(CELLD_PACKAGE_MAINTAINER "celld maintainers <celld@example.org>" CACHE STRING "Who answers for the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME celld)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own, the first line of its description
set(CPACK_STRIP_FILES ON)
# With DESTDIR the prefix of the installation is the one on the unit, which the unit file wants to know.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL celld)
if(CELLD_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/finish_staging.cmake)
set(CPACK_CELLD_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_CELLD_IDENTIFICATION "${CELLD_BUILD_IDENTIFICATION}")
set(CPACK_CELLD_VERSION ${PROJECT_VERSION}-${CELLD_PACKAGE_REVISION})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CELLD_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CELLD_PACKAGE_REVISION})
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_CELLD_PACKAGE_NAME celld)
set(CPACK_DEBIAN_CELLD_PACKAGE_SECTION net)
set(CPACK_COMPONENT_CELLD_DESCRIPTION "daemon that keeps a vehicle unit's cellular modem connected
celld switches a u-blox SARA or TOBY module on, sets it up, unlocks its SIM,
registers, brings the data context up and starts anew whenever something
fails. What it knows it publishes on the unit's MQTT bus.")
set(CPACK_DEBIAN_CELLD_PACKAGE_DEPENDS "systemd")
set(CPACK_DEBIAN_CELLD_PACKAGE_RECOMMENDS "mosquitto")
set(CPACK_DEBIAN_CELLD_PACKAGE_SUGGESTS "celld-tools")
set(CPACK_DEBIAN_CELLD_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_LIST_DIR}/conffiles ${CMAKE_CURRENT_LIST_DIR}/postinst
    ${CMAKE_CURRENT_LIST_DIR}/prerm ${CMAKE_CURRENT_LIST_DIR}/postrm)

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME celld-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "bus client and bench module of celld
celldctl shows and steers what celld says on the unit's bus and looks at all
that an integrator checks by hand. celld-sim stands in for the module and its
board where there is no hardware.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "celld, mosquitto, prometheus")

include(CPack)
