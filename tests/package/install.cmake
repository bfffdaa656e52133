# Installs BUILD into an empty prefix and uses it as a stranger would: a C program is built through
# find_package and through pkg-config, and each is run.
file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
function(step)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE code)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "${code}: ${ARGN}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()
step(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
# a moved tree has to work as well
file(RENAME ${prefix} ${WORK}/moved)
set(prefix ${WORK}/moved)

step(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${prefix}
     -DCMAKE_C_COMPILER=${CC} -DCMAKE_C_FLAGS=${CFLAGS})
step(${CMAKE_COMMAND} --build ${WORK}/build)
step(${WORK}/build/consumer)

set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
step(${PKG_CONFIG} --cflags --libs zalvo)
separate_arguments(flags UNIX_COMMAND "${out}")
separate_arguments(cflags UNIX_COMMAND "${CFLAGS}")
step(${CC} ${cflags} ${CONSUMER}/consumer.c -o ${WORK}/consumer ${flags})
set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})
step(${WORK}/consumer)
