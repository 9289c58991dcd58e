# Run by cpack between installation and packing: what Debian's policy wants in a package besides what `cmake --install` puts
# there, and one time for all files, so that two builds give one hash.
if(CPACK_CELLD_IDENTIFICATION MATCHES "DEBUG$")
    message(WARNING "`celld --version` of these packages says '${CPACK_CELLD_IDENTIFICATION}': "
        "set CELLD_BUILD_IDENTIFICATION, or use scripts/build-packages.sh")
endif()

string(TIMESTAMP packed_at "%Y-%m-%d %H:%M:%S" UTC) # SOURCE_DATE_EPOCH, where it is set
execute_process(COMMAND date --utc --date=${packed_at} --rfc-email
    OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(here ${CPACK_CELLD_SOURCE_DIR}/packaging/debian)
set(stage ${CPACK_TEMPORARY_INSTALL_DIRECTORY})

function(zip)
    if(ARGN)
        execute_process(COMMAND gzip --best --no-name --force ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
    endif()
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    set(root ${stage}/${component})
    set(docs ${root}/usr/share/doc/${package})
    file(COPY ${here}/copyright DESTINATION ${docs})
    configure_file(${here}/changelog.in ${docs}/changelog.Debian @ONLY)
    configure_file(${here}/lintian-overrides.in ${root}/usr/share/lintian/overrides/${package} @ONLY)
    configure_file(${CPACK_CELLD_SOURCE_DIR}/CHANGELOG.md ${docs}/changelog COPYONLY)
    file(GLOB pages ${root}/usr/share/man/man*/*)
    list(FILTER pages EXCLUDE REGEX "\\.gz$")
    zip(${docs}/changelog.Debian ${docs}/changelog ${pages})
endforeach()
# All its lines are comments. The files of the unit's variables are the unit's own, and no default of theirs is safe.
configure_file(${CPACK_CELLD_SOURCE_DIR}/packaging/celld.conf.sample ${stage}/celld/etc/vexa/celld.conf COPYONLY)

execute_process(COMMAND chmod --recursive u+w,go-w,a+rX ${stage} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND find ${stage} -exec touch --no-dereference "--date=${packed_at} UTC" {} +
    COMMAND_ERROR_IS_FATAL ANY)
