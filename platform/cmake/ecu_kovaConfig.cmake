# find_package(ecu_kova CONFIG) with -Decu_kova_DIR=<this directory> takes the bundled library under the same
# name as the unit's own, which is how CELLD_PLATFORM=system is checked where there is no unit.
if(NOT TARGET ecu::kova)
    add_subdirectory(${CMAKE_CURRENT_LIST_DIR}/../../proto ${CMAKE_BINARY_DIR}/ecu_pb)
    add_subdirectory(${CMAKE_CURRENT_LIST_DIR}/.. ${CMAKE_BINARY_DIR}/ecu_kova)
endif()
