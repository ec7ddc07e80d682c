// Single words that one thread writes and another polls.
#pragma once

#include <atomic>

namespace vca {

template <typename T>
T flag_get(T& word) {
    return std::atomic_ref<T>(word).load(std::memory_order_relaxed);
}

template <typename T>
void flag_set(T& word, T value) {
    std::atomic_ref<T>(word).store(value, std::memory_order_relaxed);
}

}  // namespace vca
