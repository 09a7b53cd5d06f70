// Options whose values are words.
#pragma once

#include <CLI/CLI.hpp>

#include <map>
#include <string>

namespace qlmconv {

// Only these words, and what they stand for.
template <typename T>
CLI::CheckedTransformer oneOf(const std::map<std::string, T>& words) {
  CLI::CheckedTransformer transformer(words);
  transformer.description("");
  return transformer;
}

}  // namespace qlmconv
