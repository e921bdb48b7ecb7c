# Fuzzes one target for SECONDS, starting from its seeds and regressions.
#   cmake -DFUZZER=<executable> -DWORK=<dir> -DSEEDS=<dir> -DREGRESSIONS=<dir>
#         -DSECONDS=<n> [-DJOBS=<n>] -P RunFuzzer.cmake
# libFuzzer writes new inputs into the first corpus directory only, so the
# seeds and regressions in the source tree are read, never written: what it
# finds goes to WORK/corpus, and a failing input to WORK/artifacts.

foreach(var FUZZER WORK SEEDS SECONDS)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "RunFuzzer.cmake needs -D${var}=...")
  endif()
endforeach()

if(NOT DEFINED ENV{UBSAN_OPTIONS})
  set(ENV{UBSAN_OPTIONS} "print_stacktrace=1:halt_on_error=1")
endif()
file(MAKE_DIRECTORY "${WORK}/corpus" "${WORK}/artifacts")
set(corpora "${WORK}/corpus" "${SEEDS}")
if(DEFINED REGRESSIONS AND IS_DIRECTORY "${REGRESSIONS}")
  list(APPEND corpora "${REGRESSIONS}")
endif()
set(parallel)
if(DEFINED JOBS AND JOBS GREATER 1)
  set(parallel -fork=${JOBS})
endif()

execute_process(
  COMMAND "${FUZZER}" -max_total_time=${SECONDS} -rss_limit_mb=2048 -timeout=30 -print_final_stats=1
          -artifact_prefix=${WORK}/artifacts/ ${parallel} ${corpora}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  file(GLOB found "${WORK}/artifacts/*")
  message(FATAL_ERROR "${FUZZER} failed (${result}); the failing input is among: ${found}")
endif()
