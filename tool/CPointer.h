#pragma once

#include <memory>

template <auto release> struct CallToRelease
{
    template <typename Object> void operator()(Object* object) const
    {
        release(object);
    }
};

// Owns an object of a C library, which the function release gives back to it.
template <typename Object, auto release>
using CPointer = std::unique_ptr<Object, CallToRelease<release>>;
