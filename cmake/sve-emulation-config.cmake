# find_package(sve-emulation): the targets sve::core and sve::fplib.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/sve-emulation-targets.cmake)
