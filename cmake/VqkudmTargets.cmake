# Target helpers shared by every library, plug-in and test of the project.

set(VQKUDM_WARNINGS -Wall -Wextra -Wpedantic -Wno-unused-parameter)

# vq_add_library(<name> EXPORT_DEFINE <macro> SOURCES ... [EXPORT_NAME <n>]
#                [PUBLIC_DEPS ...] [PRIVATE_DEPS ...])
# A shared library with public headers in ./include, installed and exported
# as vqkudm::<EXPORT_NAME> (default: the target's name).
function(vq_add_library name)
  cmake_parse_arguments(A "" "EXPORT_DEFINE;EXPORT_NAME" "SOURCES;PUBLIC_DEPS;PRIVATE_DEPS" ${ARGN})
  if(NOT A_EXPORT_NAME)
    set(A_EXPORT_NAME ${name})
  endif()
  add_library(${name} SHARED ${A_SOURCES})
  add_library(vqkudm::${A_EXPORT_NAME} ALIAS ${name})
  set_target_properties(${name} PROPERTIES EXPORT_NAME ${A_EXPORT_NAME})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  if(A_EXPORT_DEFINE)
    target_compile_definitions(${name} PRIVATE ${A_EXPORT_DEFINE})
  endif()
  target_link_libraries(${name} PUBLIC ${A_PUBLIC_DEPS} PRIVATE ${A_PRIVATE_DEPS})
  target_compile_options(${name} PRIVATE ${VQKUDM_WARNINGS})
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${name} EXPORT vqkudmTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/include)
    install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  endif()
endfunction()

# vq_add_module(<name> KIND plugins|drivers|tests [PER_PLATFORM] SOURCES ... [DEPS ...])
# A loadable module (plug-in or database driver) loaded by name at run time.
# Kind "tests" builds a module for the test suite only; it is not installed.
# PER_PLATFORM puts it in the platform's sub-directory of its kind's.
function(vq_add_module name)
  cmake_parse_arguments(A "PER_PLATFORM" "KIND" "SOURCES;DEPS" ${ARGN})
  add_library(${name} MODULE ${A_SOURCES})
  target_link_libraries(${name} PRIVATE ${A_DEPS})
  target_compile_options(${name} PRIVATE ${VQKUDM_WARNINGS})
  if(A_KIND STREQUAL "plugins")
    set(subdir ${VQKUDM_PLUGIN_SUBDIR})
  elseif(A_KIND STREQUAL "drivers")
    set(subdir ${VQKUDM_DRIVER_SUBDIR})
  elseif(A_KIND STREQUAL "tests")
    set_target_properties(${name} PROPERTIES
      LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/test-modules")
    return()
  else()
    message(FATAL_ERROR "vq_add_module(${name}): unknown KIND '${A_KIND}'")
  endif()
  set(rpath "$ORIGIN/../..")
  if(A_PER_PLATFORM)
    set(subdir "${subdir}/${VQKUDM_PLATFORM}")
    set(rpath "$ORIGIN/../../..")
  endif()
  set_target_properties(${name} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY "${VQKUDM_STAGE_LIBDIR}/${subdir}"
    INSTALL_RPATH "${rpath}")
  install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${subdir})
endfunction()

# vq_add_test(<name> SOURCES ... DEPS ...)
# One GoogleTest executable, registered with CTest as one test.
# Seconds before a test counts as hung; the sanitizers make the suites that
# run many processes several times slower.
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=[^ ]*address")
  set(VQKUDM_TEST_TIMEOUT 1500)
else()
  set(VQKUDM_TEST_TIMEOUT 600)
endif()

function(vq_add_test name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${A_SOURCES})
  target_link_libraries(${name} PRIVATE ${A_DEPS} GTest::gtest GTest::gtest_main)
  target_compile_options(${name} PRIVATE ${VQKUDM_WARNINGS})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support")
  target_compile_definitions(${name} PRIVATE
    POSTGRES_DRIVER_PATH="$<TARGET_FILE:vqlmidbdriver_postgres>"
    SQLITE_DRIVER_PATH="$<TARGET_FILE:vqlmidbdriver_sqlite>")
  add_dependencies(${name} vqlmidbdriver_postgres vqlmidbdriver_sqlite)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  add_test(NAME ${name} COMMAND ${name})
  # A hung test must fail the run, not stall it.
  set_tests_properties(${name} PROPERTIES TIMEOUT ${VQKUDM_TEST_TIMEOUT})
endfunction()
