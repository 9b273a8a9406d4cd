// What the sources throw.
#pragma once

#include <stdexcept>

namespace NexthopRows {

/// Input of which nothing can be used. The message names the source and the reason.
class BadInput : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;
};

/// One object that cannot be used. The message names the field and its value, not the object.
class BadObject : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;
};

} // namespace NexthopRows
