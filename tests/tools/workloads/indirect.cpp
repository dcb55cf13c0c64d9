// Virtual calls and calls through tables of functions.
#include "work.h"

#include <iterator>
#include <memory>
#include <vector>

using workload::Number;

namespace {

class Shape {
public:
    virtual ~Shape() = default;
    virtual Number area(Number seed) const = 0;
    virtual Number deep(Number seed, unsigned levels) const = 0;
};

class Square final : public Shape {
public:
    WORKLOAD_FUNCTION Number area(Number seed) const override { return workload::churn(seed, 3); }
    WORKLOAD_FUNCTION Number deep(Number seed, unsigned levels) const override
    {
        return levels == 0 ? area(seed) : workload::keep(deep(area(seed), levels - 1));
    }
};

class Group final : public Shape {
public:
    explicit Group(std::vector<std::unique_ptr<Shape>> shapes) : m_shapes(std::move(shapes)) {}

    WORKLOAD_FUNCTION Number area(Number seed) const override
    {
        Number sum = 0;
        for (const auto& shape : m_shapes)
            sum += shape->area(seed);
        return workload::keep(sum);
    }
    WORKLOAD_FUNCTION Number deep(Number seed, unsigned levels) const override
    {
        for (const auto& shape : m_shapes)
            seed += shape->deep(seed, levels);
        return workload::keep(seed);
    }

private:
    std::vector<std::unique_ptr<Shape>> m_shapes;
};

std::unique_ptr<Shape> makeShape(unsigned levels)
{
    if (levels == 0) return std::make_unique<Square>();
    std::vector<std::unique_ptr<Shape>> shapes;
    shapes.push_back(makeShape(levels - 1));
    shapes.push_back(makeShape(levels - 1));
    return std::make_unique<Group>(std::move(shapes));
}

WORKLOAD_FUNCTION Number viaArea(const Shape& shape, Number seed)
{
    return workload::keep(shape.area(seed));
}

WORKLOAD_FUNCTION Number viaDeep(const Shape& shape, Number seed)
{
    return workload::keep(shape.deep(seed, 3));
}

WORKLOAD_FUNCTION Number viaNothing(const Shape&, Number seed)
{
    return workload::churn(seed, 20);
}

using Way = Number (*)(const Shape&, Number);
constexpr Way ways[] = {viaArea, viaDeep, viaNothing};

} // namespace

int main()
{
    const std::unique_ptr<Shape> shape = makeShape(4);
    Number seed = 1;
    for (unsigned round = 0; round < workload::manyRounds; ++round)
        seed = ways[round % std::size(ways)](*shape, seed | 1);
    return seed == 0;
}
