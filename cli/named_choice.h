// Options that take one of a few names.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <functional>
#include <string>
#include <vector>

namespace kalvetra {

template <class Value>
struct Named {
  const char* name;
  Value value;
};

// `take` gets the value of the name that is given.
template <class Value, std::size_t n>
CLI::Option* addChoice(CLI::App& command, const std::string& name, const std::array<Named<Value>, n>& choices,
                       const std::string& help, std::function<void(Value)> take) {
  std::vector<std::string> names;
  for (const auto& choice : choices) names.emplace_back(choice.name);
  const auto find = [choices, take](const std::string& text) {
    for (const auto& choice : choices) {
      if (text == choice.name) take(choice.value);
    }
  };
  return command.add_option_function<std::string>(name, find, help)->check(CLI::IsMember(names));
}

}  // namespace kalvetra
