#pragma once

#include <cstdlib>

namespace Platform {

/// The one object of a class in a running program, for the class's own sharedInstance(): set where the program is
/// built, and asked for by nobody who can be given it.
template <typename Object>
class Shared final {
public:
    static void set(Object& object) { s_object = &object; }
    /// Ends the program when nothing has been set.
    static Object& instance() {
        if (!s_object)
            std::abort();
        return *s_object;
    }

private:
    static inline Object* s_object = nullptr;
};

} // namespace Platform
