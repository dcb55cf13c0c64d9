# The other module: it is called through the linkage table, or by a pointer, and calls back.
# Labels as in listing.S.

        .text

        .globl  apply
        .type   apply, @function
apply:
        push    %rbx
at_apply_calls_back:
        call    *%rdi
at_apply_after:
        pop     %rbx
at_apply_returns:
        ret
        .size   apply, . - apply
        .p2align 4, 0xcc

        .globl  far_function
        .type   far_function, @function
far_function:
        nop
at_far_calls_back:
        call    *%rdi
        ret
        .size   far_function, . - far_function

        .section .note.GNU-stack, "", @progbits
