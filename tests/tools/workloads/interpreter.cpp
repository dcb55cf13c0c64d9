// An interpreter: a jump table in a loop, whose operations call, and one of which interprets again.
#include "work.h"

#include <iterator>

using workload::Number;

namespace {

enum class Operation : unsigned char { add, twist, mix, square, call, negate, skip, leave };

WORKLOAD_FUNCTION Number mix(Number value)
{
    return workload::churn(value, 5);
}

WORKLOAD_FUNCTION Number twist(Number value)
{
    return workload::keep(mix(value) + 3);
}

WORKLOAD_FUNCTION Number interpret(const Operation* program, Number value, unsigned levels)
{
    for (;;) {
        switch (*program++) {
        case Operation::add:
            value += levels;
            break;
        case Operation::twist:
            value = twist(value);
            break;
        case Operation::mix:
            value = mix(value);
            break;
        case Operation::square:
            value *= value | 1;
            break;
        case Operation::call:
            if (levels > 0) value += interpret(program, value, levels - 1);
            break;
        case Operation::negate:
            value = ~value;
            break;
        case Operation::skip:
            program += value & 1;
            break;
        case Operation::leave:
            return workload::keep(value);
        }
    }
}

constexpr Operation program[] = {
    Operation::add,    Operation::twist, Operation::call,   Operation::skip,  Operation::mix,
    Operation::square, Operation::call,  Operation::negate, Operation::twist, Operation::leave,
};

} // namespace

int main()
{
    Number value = 1;
    for (unsigned round = 0; round < workload::manyRounds; ++round)
        value = interpret(program, value + round, 5);
    return value == 0;
}
