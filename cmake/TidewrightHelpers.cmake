# tw_subsystem(name DEPENDS a b ...): a static, position-independent library of one subsystem,
# made of every source in its folder, so that adding a file needs no edit here.
function(tw_subsystem name)
  cmake_parse_arguments(ARG "" "" "DEPENDS;PACKAGES" ${ARGN})
  file(GLOB _sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(NOT _sources)
    # A subsystem that has only headers so far still gives its dependents a target.
    set(_empty ${CMAKE_CURRENT_BINARY_DIR}/${name}_empty.cpp)
    if(NOT EXISTS ${_empty})
      file(WRITE ${_empty} "")
    endif()
    set(_sources ${_empty})
  endif()
  add_library(tw_${name} STATIC ${_sources})
  target_include_directories(tw_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(tw_${name} PUBLIC tw_abi Threads::Threads ${ARG_DEPENDS})
  foreach(_pkg IN LISTS ARG_PACKAGES)
    target_link_libraries(tw_${name} PUBLIC PkgConfig::${_pkg})
  endforeach()
endfunction()

# tw_test(subsystem LIBS ... [LOCK resource]): one test binary per subsystem, made of every *_test.cpp
# in its folder. LOCK names a resource its tests hold one at a time (a shared device, say).
function(tw_test name)
  cmake_parse_arguments(ARG "" "LOCK" "LIBS" ${ARGN})
  file(GLOB _sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_executable(${name}_tests ${_sources})
  target_link_libraries(${name}_tests PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main GTest::gmock)
  target_include_directories(${name}_tests PRIVATE ${CMAKE_SOURCE_DIR}/tests ${CMAKE_SOURCE_DIR}/src)
  target_compile_definitions(${name}_tests PRIVATE TW_OUTPUT_DIR="${TW_OUTPUT_DIR}")
  set(_lock)
  if(ARG_LOCK)
    set(_lock RESOURCE_LOCK ${ARG_LOCK})
  endif()
  gtest_discover_tests(${name}_tests DISCOVERY_TIMEOUT 60 PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen"
                       ${_lock})
endfunction()
