#pragma once
// A failure that ends the launch: thrown from wherever it happens, caught once, in main, which
// prints the text.

#include <stdexcept>

class LaunchFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
