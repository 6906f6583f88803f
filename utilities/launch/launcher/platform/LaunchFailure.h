#pragma once
// A failure that ends the launch. main catches it and prints the text.

#include <stdexcept>

class LaunchFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
