/* A tiny query engine that generates code, for the recording that ./quickstart shows. queries.perf.data has its
 * call chains and branch records in call-stack mode, taken instruction by instruction by tests/tools/steptrace:
 *   gcc -O2 -g -fno-omit-frame-pointer -fno-optimize-sibling-calls -o queries queries.c
 *   steptrace --out queries.perf.data --max-samples 1500 --from entry ./queries .
 * main -> serve -> run_query -> [generated: query:total, query:even, query:mixed] -> fetch_row, fold.
 * The generated functions keep frame pointers, and their names go to perf-PID.map in the folder given as
 * the first argument, as profilers read them.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#define NI __attribute__((noinline, noclone))

typedef uint64_t (*query_t)(uint64_t rows);

enum { row_count = 1024 };

static uint32_t table[row_count];
static unsigned char *code, *code_end;
static FILE *map;

NI uint64_t fetch_row(uint64_t row)
{
    uint64_t value = table[row % row_count];
    for (unsigned i = 0; i < (value & 7); ++i) value = value * 31 + i;
    return value;
}

NI uint64_t fold(uint64_t a, uint64_t b)
{
    return (a ^ (a >> 29)) * 0x9e3779b97f4a7c15u + b;
}

static void emit(const void *bytes, size_t size)
{
    memcpy(code_end, bytes, size);
    code_end += size;
}

static void emit_call(const void *target)
{
    const unsigned char load[] = {0x48, 0xb8}, call[] = {0xff, 0xd0}; /* mov rax, target; call rax */
    emit(load, sizeof load);
    emit(&target, sizeof target);
    emit(call, sizeof call);
}

/* A loop over the rows: each is fetched, folded into the sum `folds` times, and if `even_only` is set rows
 * with an odd number are left out. */
NI static query_t compile_query(const char *name, int folds, int even_only)
{
    unsigned char *const start = code_end;
    const unsigned char enter[] = {
        0x55, 0x48, 0x89, 0xe5,             /* push rbp; mov rbp, rsp */
        0x41, 0x54, 0x41, 0x55, 0x49, 0x89, 0xfc, /* push r12; push r13; mov r12, rdi */
        0x45, 0x31, 0xed};                  /* xor r13d, r13d */
    emit(enter, sizeof enter);
    unsigned char *const loop = code_end;
    const unsigned char skip_odd[] = {0x41, 0xf6, 0xc4, 0x01, 0x75, 0x00}; /* test r12b, 1; jne */
    unsigned char *skip = NULL;
    if (even_only) {
        emit(skip_odd, sizeof skip_odd);
        skip = code_end - 1;
    }
    const unsigned char row_argument[] = {0x4c, 0x89, 0xe7}; /* mov rdi, r12 */
    emit(row_argument, sizeof row_argument);
    emit_call((const void *)(uintptr_t)fetch_row);
    for (int i = 0; i < folds; ++i) {
        const unsigned char arguments[] = {0x4c, 0x89, 0xef, 0x48, 0x89, 0xc6}; /* mov rdi, r13; mov rsi, rax */
        emit(arguments, sizeof arguments);
        emit_call((const void *)(uintptr_t)fold);
        const unsigned char keep[] = {0x49, 0x89, 0xc5}; /* mov r13, rax */
        emit(keep, sizeof keep);
    }
    if (skip) *skip = (unsigned char)(code_end - skip - 1);
    const unsigned char next[] = {0x49, 0xff, 0xcc, 0x0f, 0x85}; /* dec r12; jne loop */
    emit(next, sizeof next);
    const int32_t back = (int32_t)(loop - (code_end + 4));
    emit(&back, sizeof back);
    const unsigned char leave[] = {
        0x4c, 0x89, 0xe8, 0x41, 0x5d, 0x41, 0x5c, 0x5d, 0xc3}; /* mov rax, r13; pop r13, r12, rbp; ret */
    emit(leave, sizeof leave);
    fprintf(map, "%lx %lx query:%s\n", (unsigned long)start, (unsigned long)(code_end - start), name);
    while ((uintptr_t)code_end % 16) *code_end++ = 0xcc;
    return (query_t)(uintptr_t)start;
}

NI uint64_t run_query(query_t query, uint64_t rows)
{
    return query(rows) + rows;
}

NI uint64_t serve(const query_t *queries, int count, int requests)
{
    uint64_t sum = 0;
    for (int i = 0; i < requests; ++i) sum += run_query(queries[i % count], 40 + (uint64_t)(i % 5));
    return sum;
}

NI static void open_map(const char *folder)
{
    char path[4096];
    snprintf(path, sizeof path, "%s/perf-%d.map", folder, (int)getpid());
    map = fopen(path, "w");
    if (!map) { perror(path); exit(1); }
}

int main(int argc, char **argv)
{
    open_map(argc > 1 ? argv[1] : "/tmp");
    code = code_end = mmap(NULL, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (code == MAP_FAILED) { perror("mmap"); return 1; }
    for (unsigned i = 0; i < row_count; ++i) table[i] = i * 2654435761u;
    const query_t queries[] = {compile_query("total", 1, 0), compile_query("even", 2, 1),
                               compile_query("mixed", 3, 0)};
    fclose(map);
    printf("%lx\n", (unsigned long)serve(queries, 3, 4000));
    return 0;
}
