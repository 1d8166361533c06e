# cmake -P script behind the install_consumer test (arguments: see CMakeLists.txt beside it).
cmake_minimum_required(VERSION 3.25)

set(prefix ${WORK_DIR}/prefix)
set(consumer_build ${WORK_DIR}/consumer)
file(REMOVE_RECURSE ${WORK_DIR})

# Runs one step; its output is shown only when it fails, and then the test fails.
function(step what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}")
  endif()
  message(STATUS "${what}: ok")
endfunction()

step("install into ${prefix}" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# The package must hold the five libraries, the headers of the library and of the platform,
# and the package configuration.
foreach(lib TarnFen TarnChip TarnKeel TarnTableApi TarnSwitchTable)
  if(NOT EXISTS ${prefix}/${LIBDIR}/lib${lib}.so)
    message(FATAL_ERROR "lib${lib}.so is not installed under ${prefix}")
  endif()
endforeach()
foreach(header TarnSwitchTable/TarnTableArp.h TarnSwitchTable/TarnTableDirectBase.h Fen/Ptr.h
        TarnSwitch/ChipProfile.h Lanx/EthAddr.h Bridging/VlanId.h TarnSwitchApi/SwTable.h
        Keel/BitStream.h)
  if(NOT EXISTS ${prefix}/include/${header})
    message(FATAL_ERROR "${header} is not installed under ${prefix}/include")
  endif()
endforeach()

step("configure the consumer" ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${consumer_build}
  -G ${GENERATOR} -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  -DCMAKE_BUILD_TYPE=${BUILD_TYPE} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${EXE_LINKER_FLAGS}" -DCMAKE_PREFIX_PATH=${prefix})
step("build the consumer" ${CMAKE_COMMAND} --build ${consumer_build})

# No LD_LIBRARY_PATH: the consumer finds the installed libraries through its RPATH, and they
# find each other through theirs.
execute_process(COMMAND ${consumer_build}/consumer RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the consumer failed (${rc})")
endif()
