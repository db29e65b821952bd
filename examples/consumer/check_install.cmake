# Installs the built tree into a scratch prefix, then builds and runs the
# consumer against it twice: through find_package and through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
  RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed: ${rc}")
endif()

# Moving the installed tree must not break it: both package files are relocatable.
file(RENAME ${prefix} ${WORK_DIR}/moved)
set(prefix ${WORK_DIR}/moved)

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${prefix} RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer configure failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer build failed")
endif()
execute_process(COMMAND ${WORK_DIR}/build/consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(rc)
  message(FATAL_ERROR "consumer run failed: ${out}")
endif()

file(GLOB_RECURSE pc ${prefix}/*/vnkuti-basicutils.pc)
get_filename_component(pcdir "${pc}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
execute_process(COMMAND pkg-config --cflags --libs vnkuti-basicutils OUTPUT_VARIABLE flags
  RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
if(rc)
  message(FATAL_ERROR "pkg-config failed")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND c++ ${SOURCE_DIR}/main.cpp ${flags} -o ${WORK_DIR}/consumer_pc RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "pkg-config build failed")
endif()
string(REGEX MATCH "-L([^ ;]+)" _ "${flags}")
set(ENV{LD_LIBRARY_PATH} ${CMAKE_MATCH_1})
execute_process(COMMAND ${WORK_DIR}/consumer_pc RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "pkg-config consumer run failed")
endif()
message(STATUS "installed package works through CMake and pkg-config")
