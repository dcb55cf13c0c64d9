# A program to hold stacks against. It is linked and never run. Each function shows one way of
# getting from one place to another. Labels that begin with at_ name places for the tests; they are
# taken out of the files under test, so that code without a symbol has none.

        .macro  FUNCTION name
        .globl  \name
        .type   \name, @function
\name:
        .endm
        .macro  END name
        .size   \name, . - \name
        .p2align 4, 0xcc
        .endm

        .text

# Where the program begins. Comes back nowhere.
        FUNCTION _start
        xor     %ebp, %ebp
at_start_calls_main:
        call    main
at_start_after_main:
        ud2
        END     _start

# The program's function of that name, which returns as any other.
        FUNCTION main
        push    %rbx
at_main_calls_work:
        call    work
at_main_after_work:
        nop
at_main_calls_count:
        call    count
at_main_after_count:
        lea     callback(%rip), %rdi
at_main_calls_apply:
        call    apply@PLT
at_main_after_apply:
        lea     by_pointer(%rip), %rax
at_main_calls_pointer:
        call    *%rax
at_main_calls_hop:
        call    hop
at_main_calls_bare:
        call    at_bare
at_main_calls_inner_label:
        call    inner_label
        pop     %rbx
at_main_returns:
        ret
        END     main

# A plain function with a loop in front of its call.
        FUNCTION work
        push    %rbx
        mov     $3, %ebx
at_work_loops:
        dec     %ebx
at_work_repeats:
        jnz     at_work_loops
at_work_calls_leaf:
        call    leaf
at_work_after_leaf:
        pop     %rbx
at_work_returns:
        ret
        END     work

        FUNCTION leaf
        nop
at_leaf_middle:
        nop
at_leaf_returns:
        ret
        END     leaf

# Calls itself.
        FUNCTION count
        dec     %edi
at_count_ends:
        jz      at_count_returns
at_count_calls_count:
        call    count
at_count_returns:
        ret
        END     count

# Goes on in another function without a call.
        FUNCTION hop
        test    %edi, %edi
at_hop_jumps:
        jmp     landing
        END     hop

        FUNCTION landing
        nop
at_landing_middle:
        nop
at_landing_calls_leaf:
        call    leaf
at_landing_returns:
        ret
        END     landing

# Goes on where a table says.
        FUNCTION select
        and     $1, %edi
        lea     at_table(%rip), %rax
at_select_jumps:
        jmp     *(%rax,%rdi,8)
at_case_zero:
        nop
at_case_zero_calls_leaf:
        call    leaf
        ret
at_case_one:
        ret
        END     select

# Goes on where a register says, which may be anywhere.
        FUNCTION dispatch
        lea     at_bare(%rip), %rax
at_dispatch_jumps:
        jmp     *%rax
        END     dispatch

# Goes on in the other module, past its linkage table.
        FUNCTION leap
at_leap_jumps:
        jmp     *far_function@GOTPCREL(%rip)
        END     leap

        FUNCTION by_pointer
        nop
at_by_pointer_calls_leaf:
        call    leaf
        ret
        END     by_pointer

# Handed to the other module, which calls it.
        FUNCTION callback
        nop
at_callback_middle:
        nop
at_callback_calls_leaf:
        call    leaf
        ret
        END     callback

# Two pieces of code that no symbol names.
at_bare:
        nop
at_bare_middle:
        nop
at_bare_calls_leaf:
        call    leaf
        ret
at_other_bare:
        nop
at_other_bare_calls_leaf:
        call    leaf
        ret
        .p2align 4, 0xcc

# May go on in its cold part, which lies elsewhere under a name of its own.
        FUNCTION warm
        test    %edi, %edi
at_warm_leaves:
        js      at_cold
at_warm_back:
        ret
        END     warm

# Can be entered at a label, which is no function, and at a function within it.
        FUNCTION outer
        nop
        .globl  inner_label
inner_label:
        nop
at_outer_calls_leaf:
        call    leaf
        nop
        .globl  inner_function
        .type   inner_function, @function
inner_function:
        nop
at_inner_calls_leaf:
        call    leaf
        ret
        .size   inner_function, . - inner_function
        END     outer

# Has another function inlined, by the debug information below.
        FUNCTION host
        nop
at_host_inlined:
        nop
at_host_inlined_middle:
        nop
at_host_inlined_calls_leaf:
        call    leaf
at_host_inlined_ends:
        ret
        END     host

# Enters the kernel.
        FUNCTION ask
        mov     $39, %eax
at_ask_enters:
        syscall
at_ask_after:
        ret
        END     ask

# Loops for ever; a function with a return follows.
        FUNCTION forever
        nop
at_forever_loops:
        nop
        jmp     at_forever_loops
        END     forever

        FUNCTION clone
        nop
at_clone_calls:
        call    *%rdx
        ret
        END     clone

# A name that only begins like the one before.
        FUNCTION clones
        nop
        ret
        END     clones

# Runs on into an indirect jump; its conditional jump goes to the call.
        FUNCTION fork
        test    %edi, %edi
        js      at_fork_target
at_fork_jumps:
        jmp     *%rax
at_fork_target:
        nop
at_fork_calls_leaf:
        call    leaf
        ret
        END     fork

# The other way round.
        FUNCTION knife
        test    %edi, %edi
        js      at_knife_target
at_knife_calls_leaf:
        call    leaf
        ret
at_knife_target:
        nop
at_knife_jumps:
        jmp     *%rax
        END     knife

# A function that tells no size: it reaches to the next symbol.
        .globl  unsized
        .type   unsized, @function
unsized:
        nop
at_unsized_calls_leaf:
        call    leaf
        ret
        .p2align 4, 0xcc

# A label, and no function, that is no part of one.
        .globl  bare_label
bare_label:
        nop
        ret
        .p2align 4, 0xcc

# Loops for ever, and is the last code of the program.
        FUNCTION final
        nop
at_final_loops:
        jmp     at_final_loops
        .size   final, . - final

        .section .text.unlikely, "ax", @progbits
        FUNCTION warm.cold
at_cold:
        nop
at_cold_middle:
        nop
at_cold_calls_leaf:
        call    leaf
        jmp     at_warm_back
        END     warm.cold

# A name in memory that the file has no bytes of.
        .section .later, "awx", @nobits
        .globl  later
        .type   later, @function
later:
        .skip   16
        .size   later, 16

        .section .data.rel.ro, "aw", @progbits
        .p2align 3
at_table:
        .quad   at_case_zero, at_case_one

# Debug information: host() holds an inlined function. The numbers are those of DWARF 4.
        .section .debug_abbrev, "", @progbits
.Labbreviations:
        .uleb128 1, 0x11                # a unit, with children
        .byte   1
        .uleb128 0x03, 0x08, 0x11, 0x01, 0x12, 0x07, 0, 0
        .uleb128 2, 0x2e                # a function that is only inlined
        .byte   0
        .uleb128 0x03, 0x08, 0x20, 0x0b, 0, 0
        .uleb128 3, 0x2e                # a function with code, with children
        .byte   1
        .uleb128 0x03, 0x08, 0x11, 0x01, 0x12, 0x07, 0, 0
        .uleb128 4, 0x1d                # its inlined part
        .byte   0
        .uleb128 0x31, 0x13, 0x11, 0x01, 0x12, 0x07, 0, 0
        .byte   0

        .section .debug_info, "", @progbits
.Lunit:
        .long   .Lunit_ends - .Lversion
.Lversion:
        .value  4
        .long   .Labbreviations
        .byte   8
        .uleb128 1
        .asciz  "listing.c"
        .quad   host, 16
.Linlined:
        .uleb128 2
        .asciz  "inlined"
        .byte   1
        .uleb128 3
        .asciz  "host"
        .quad   host, at_host_inlined_ends + 1 - host
        .uleb128 4
        .long   .Linlined - .Lunit
        .quad   at_host_inlined, at_host_inlined_ends - at_host_inlined
        .byte   0, 0
.Lunit_ends:

        .section .note.GNU-stack, "", @progbits
