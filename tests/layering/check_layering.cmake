# The bridge builds against include/ and its own directories only. Run as a test:
#   cmake -D BUILD_DIR=<build tree> -D SOURCE_DIR=<source tree> -D PUBLIC_PROBE=<target>
#         -D HIDDEN_PROBES=<target:header;...> -D BRIDGE_DIRS=<dir;...> -P check_layering.cmake
# Each probe is a one-file object library compiled with the bridge's include directories and kept
# out of the default build: the public one must compile, each hidden one must fail because its
# header is not found. A bridge source must not reach a header of the platform, the simulator or
# the tests by a relative path either.
set(failures "")

function(build_probe target result output)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${BUILD_DIR} --target ${target}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  set(${result} ${rc} PARENT_SCOPE)
  set(${output} "${out}" PARENT_SCOPE)
endfunction()

build_probe(${PUBLIC_PROBE} rc out)
if(NOT rc EQUAL 0)
  string(APPEND failures "${PUBLIC_PROBE} (the bridge's public headers) does not compile:\n${out}\n")
endif()

foreach(probe ${HIDDEN_PROBES})
  string(REPLACE ":" ";" parts ${probe})
  list(GET parts 0 target)
  list(GET parts 1 header)
  build_probe(${target} rc out)
  if(rc EQUAL 0)
    string(APPEND failures "${target}: a bridge source can include ${header}\n")
  elseif(NOT out MATCHES "${header}: No such file or directory")
    string(APPEND failures "${target} failed, but not because ${header} is hidden:\n${out}\n")
  else()
    message(STATUS "${header} is not visible to the bridge")
  endif()
endforeach()

foreach(dir ${BRIDGE_DIRS})
  file(GLOB sources ${SOURCE_DIR}/${dir}/*.c ${SOURCE_DIR}/${dir}/*.cpp ${SOURCE_DIR}/${dir}/*.h)
  foreach(src ${sources})
    file(STRINGS ${src} lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
    foreach(line ${lines})
      if(line MATCHES "(platform|sim|tests|tools)/")
        string(APPEND failures "${src}: ${line}\n")
      endif()
    endforeach()
  endforeach()
endforeach()

if(failures)
  message(FATAL_ERROR "layering broken:\n${failures}")
endif()
