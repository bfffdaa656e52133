# Installs BUILD into an empty prefix and uses it as a stranger would: the installed examples are
# built through find_package and one through pkg-config, and they have to give the known answers.
file(REMOVE_RECURSE ${WORK})
function(step)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE code)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "${code}: ${ARGN}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()
function(says text)
  if(NOT out MATCHES "${text}")
    message(FATAL_ERROR "'${text}' is not in:\n${out}")
  endif()
endfunction()

step(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
set(prefix ${WORK}/moved)  # a moved tree has to work as well
file(RENAME ${WORK}/prefix ${prefix})
set(examples ${prefix}/share/doc/zalvo/examples)

step(${CMAKE_COMMAND} -S ${examples} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${prefix}
     -DCMAKE_C_COMPILER=${CC} "-DCMAKE_C_FLAGS=${CFLAGS} -Wall -Wextra -pedantic -Werror")
step(${CMAKE_COMMAND} --build ${WORK}/build)
step(${WORK}/build/solve_file ${examples}/diet.mps)
says("Primal - objective: 9\\.2(4999|50000)")
says("x\\[3\\] = 2\\.00000|x\\[3\\] = 1\\.99999")
step(${WORK}/build/build_plan)
says("objective 2951\\.7241")
step(${WORK}/build/infeasible)
says("together: 0 >= [0-9.]*[1-9]")

set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
step(${PKG_CONFIG} --cflags --libs zalvo)
separate_arguments(flags UNIX_COMMAND "${out}")
separate_arguments(cflags UNIX_COMMAND "${CFLAGS}")
step(${CC} ${cflags} ${examples}/solve_file.c -o ${WORK}/solve_file ${flags})
set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})
step(${WORK}/solve_file ${examples}/transport.mps)
says("Primal - objective: 5\\.3(4999|50000)")

set(ENV{LD_LIBRARY_PATH} "")  # the program finds its library by itself
step(${prefix}/bin/zalvo --json ${examples}/plan.mps)
says("\"solution_status\":[ ]*\"OPTIMAL\"")
