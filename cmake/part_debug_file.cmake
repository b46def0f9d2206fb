# Parts OX_FILE, as installed, from its debug information with OX_OBJCOPY.
cmake_path(GET OX_FILE PARENT_PATH folder)
cmake_path(GET OX_FILE FILENAME name)
file(MAKE_DIRECTORY ${folder}/.debug)
execute_process(COMMAND ${OX_OBJCOPY} --only-keep-debug ${OX_FILE} ${folder}/.debug/${name}.debug COMMAND_ERROR_IS_FATAL ANY)
# The link is a file name and a checksum: objcopy looks for the file where it works.
execute_process(COMMAND ${OX_OBJCOPY} --strip-unneeded --add-gnu-debuglink=${name}.debug ${OX_FILE}
                WORKING_DIRECTORY ${folder}/.debug COMMAND_ERROR_IS_FATAL ANY)
