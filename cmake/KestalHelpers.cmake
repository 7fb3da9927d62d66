# Small helpers so that each new test, benchmark or fuzzer is one line.

function(kestal_apply_sanitizers)
  if(NOT KESTAL_SANITIZE)
    return()
  endif()
  list(JOIN KESTAL_SANITIZE "," _list)
  set(_flags -fsanitize=${_list} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_compile_options(${_flags})
  add_link_options(${_flags})
endfunction()

# Warnings for the library's own targets; dependencies' headers come in as system headers.
function(kestal_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wno-gnu-anonymous-struct -Wno-nested-anon-types)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-pedantic)
  endif()
endfunction()

# kestal_add_test(NAME source...) builds one GoogleTest binary and registers its cases with CTest.
function(kestal_add_test name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE kestal::kestal GTest::gtest_main ${KESTAL_TEST_EXTRA_LIBS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  kestal_warnings(${name})
  # g++ 12 at -O2 reports std::string concatenation in test helpers as overlapping copies of
  # 2^63 bytes: a known false positive of its restrict check, not a fault of ours.
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()

# kestal_add_bench(NAME source...) builds one Google Benchmark binary. Its shared main prints
# the ratio of "Op/kestal" to every peer "Op/<peer>" measured in the same run.
function(kestal_add_bench name)
  add_executable(${name} ${ARGN} ${PROJECT_SOURCE_DIR}/bench/BenchMain.cpp)
  target_link_libraries(${name} PRIVATE kestal::kestal benchmark::benchmark)
  kestal_warnings(${name})
endfunction()

# kestal_add_fuzzer(NAME source...) builds one libFuzzer target (clang).
function(kestal_add_fuzzer name)
  add_executable(${name} ${ARGN})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  target_link_libraries(${name} PRIVATE kestal::kestal)
endfunction()
