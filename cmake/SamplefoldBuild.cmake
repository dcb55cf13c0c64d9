# What every target of the tree shares: language level, warnings, sanitizers, hidden symbols, and the
# functions that add a companion, a library of the driver, and a test.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

find_program(SF_CCACHE ccache)
if(SF_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${SF_CCACHE}")
endif()

if(SF_SANITIZE)
  add_compile_options(-fsanitize=${SF_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${SF_SANITIZE})
  if(SF_SANITIZE MATCHES thread)
    # The sanitizer does not follow the fences of Boost.Asio; what is tested under it has none of its own.
    add_compile_options(-Wno-tsan)
  endif()
endif()

# Sources of tests are compiled some at a time: they share most of what they include, and reading that is
# most of their cost. clang-tidy wants them one by one.
option(SF_UNITY_TESTS "Compile the sources of a test several at a time" ON)
set(SF_UNITY_SOURCES 8)

add_library(sf_warnings INTERFACE)
target_compile_options(sf_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast -Werror
  # g++ 12 sees overlaps in "text" + std::string that are none (GCC bug 105329).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

# The exported headers are included as <samplefold_1/...>, in the tree as after installation.
set(SF_HEADER_ROOT "${CMAKE_BINARY_DIR}/include")
file(MAKE_DIRECTORY "${SF_HEADER_ROOT}")
file(CREATE_LINK "${CMAKE_SOURCE_DIR}/include" "${SF_HEADER_ROOT}/samplefold_1" SYMBOLIC)

# sf_compile_together(NAME): the sources of a target some at a time. Names that a source keeps to itself must
# then differ from those of its neighbours.
function(sf_compile_together name)
  # A source that another file includes is not the header that this warning takes it for.
  target_compile_options(${name} PRIVATE -Wno-subobject-linkage)
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${SF_UNITY_SOURCES})
endfunction()

# sf_add_companion(NAME SOURCES ... [LIBS ...] [PRIVATE_LIBS ...]): one shared library beside the system.
function(sf_add_companion name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;PRIVATE_LIBS" ${ARGN})
  add_library(${name} SHARED ${ARG_SOURCES})
  add_library(samplefold_1::${name} ALIAS ${name})
  target_include_directories(${name} PUBLIC
    "$<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  target_include_directories(${name} PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/src")
  target_link_libraries(${name} PUBLIC ${ARG_LIBS}
    PRIVATE ${ARG_PRIVATE_LIBS} $<BUILD_INTERFACE:sf_warnings>)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0)
  install(TARGETS ${name} EXPORT samplefold_1Targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()

# sf_add_driver_library(NAME SOURCES ... [LIBS ...]): a part of the command, included by its folder's name.
function(sf_add_driver_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC "${CMAKE_SOURCE_DIR}/driver")
  target_link_libraries(${name} PUBLIC ${ARG_LIBS} PRIVATE sf_warnings)
  if(SF_SANITIZE)
    sf_compile_together(${name})
  endif()
endfunction()

# sf_add_test(NAME name SOURCES ... [LIBS ...]): a GoogleTest executable known to ctest.
function(sf_add_test)
  cmake_parse_arguments(ARG "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${ARG_NAME} ${ARG_SOURCES})
  target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main sf_warnings)
  # What is tested keeps the optimisation of the build; what tests it need not be fast.
  if(SF_SANITIZE)
    target_compile_options(${ARG_NAME} PRIVATE -O0)
  else()
    target_compile_options(${ARG_NAME} PRIVATE -O1)
  endif()
  if(SF_UNITY_TESTS)
    sf_compile_together(${ARG_NAME})
    # Sources of the product that a test compiles into itself keep their names to themselves.
    set(product_sources ${ARG_SOURCES})
    list(FILTER product_sources INCLUDE REGEX "^${CMAKE_SOURCE_DIR}/src/")
    set_source_files_properties(${product_sources} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
  target_include_directories(${ARG_NAME} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  target_compile_definitions(${ARG_NAME} PRIVATE
    SF_TEST_DATA_DIR="${CMAKE_SOURCE_DIR}/tests/data"
    SF_DEFAULT_SHARED_DATA="${CMAKE_SOURCE_DIR}/../shared/data/perf")
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 900)
  endif()
  add_test(NAME ${ARG_NAME} COMMAND ${ARG_NAME})
  set_tests_properties(${ARG_NAME} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
