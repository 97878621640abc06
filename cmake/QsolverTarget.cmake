# One place configures every target of ours: standard, warnings, floating-point contraction
# and sanitizers. Copying such a block per target is how a target loses its warnings.
function(qsolver_configure target)
    target_compile_features(${target} PUBLIC cxx_std_17)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    get_target_property(_type ${target} TYPE)
    if(NOT _type STREQUAL "INTERFACE_LIBRARY")
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wshadow $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> -Werror
            # Fused multiply-add would change results between compilers and flags, and
            # our tie-breaks and tolerances are exact.
            -ffp-contract=off)
    endif()
    if(QSOLVER_SANITIZERS)
        string(REPLACE ";" "," _san "${QSOLVER_SANITIZERS}")
        target_compile_options(${target} PRIVATE -fsanitize=${_san} -fno-omit-frame-pointer
            -fno-sanitize-recover=all)
        target_link_options(${target} PUBLIC -fsanitize=${_san})
    endif()
endfunction()
