# Runs the programs of the documentation, where the database is that they are shown with.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})

function(expect_output wanted)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${FOLDER}
        OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE status)
    if(NOT status EQUAL 0 OR NOT output STREQUAL wanted)
        message(FATAL_ERROR "${ARGN}\nstatus ${status}, printed\n${output}instead of\n${wanted}")
    endif()
endfunction()

expect_output("Rope, 10 m costs 12.50\n" ${EMBEDDING})
expect_output("10 rows imported into ports\n" ${SHELL} --create ferries.dbf ".import ${PORTS}")
expect_output("Anvil Bay: 9.5 m\nCalder Head: 14.0 m\nDunmarrow: 11.5 m\n" ${README})
