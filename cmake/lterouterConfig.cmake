# find_package(lterouter) gives lterouter::lterouter, the shared library, and lterouter::lterouter_static.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/lterouterTargets.cmake)
