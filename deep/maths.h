// The functions of maths-inl.h for those without vectors.
#pragma once

#include <cstddef>

namespace kalvetra::deep {

enum class Function { Log2, Log2p1, Exp2, Exp2m1 };

// f(x[0]) .. f(x[count - 1]), in place, at the CPU level in use.
void apply(Function f, float* x, std::size_t count);

}  // namespace kalvetra::deep
