/* Marks of a part whose instructions are counted: a system call that no kernel has, with the number
 * of the part and whether it begins or ends. */
#ifndef BENCH_COUNT_MARKS_H
#define BENCH_COUNT_MARKS_H

#define COUNT_SYSCALL 4242
#define COUNT_PARTS 16

#endif
