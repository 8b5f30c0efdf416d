# The folders of a package have their usual modes, whatever umask it is built under.
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} +)
