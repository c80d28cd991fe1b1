# Gives what was installed the shape that Debian's policy asks for.
file(GLOB roots ${CPACK_TEMPORARY_DIRECTORY}/*/usr)
foreach(root ${roots})
    # Compressed manual pages, and zsh's completions where Debian's zsh looks for those of packages.
    file(GLOB pages ${root}/share/man/man*/*.[18])
    if(pages)
        execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
    endif()
    if(EXISTS ${root}/share/zsh/site-functions)
        file(RENAME ${root}/share/zsh/site-functions ${root}/share/zsh/vendor-completions)
    endif()

    # Each package's own copyright and changelog.
    if(EXISTS ${root}/bin)
        set(name tarnwick)
        file(MAKE_DIRECTORY ${root}/share/lintian/overrides)
        file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/lintian-overrides
             ${root}/share/lintian/overrides/tarnwick)
    else()
        set(name libtarnwick-devicetree-dev)
    endif()
    set(folder ${root}/share/doc/${name})
    file(COPY ${CPACK_TARNWICK_COPYRIGHT} ${CMAKE_CURRENT_LIST_DIR}/changelog
         DESTINATION ${folder})
    execute_process(COMMAND gzip -9n ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
    # The builder's umask is nobody else's business.
    execute_process(COMMAND chmod -R u=rwX,go=rX ${root} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
