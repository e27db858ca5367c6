#pragma once

#include <curl/curl.h>

#include <atomic>

#include <dlfcn.h>

namespace Platform {

/// Loaded by the network thread; before, nothing below may be called. Never unloaded: that thread may still look up a
/// function while the process ends.
inline std::atomic<void*> curlLibrary{nullptr};

// The library brings some thirty others along, a tenth of the memory of a client that has no server yet, so it is
// loaded with the first request. In this namespace these hide the functions that are declared under the same names.
#define MAV_CURL_FUNCTION(name)                                                                                        \
    inline constexpr auto name = [](auto... arguments) {                                                               \
        static const auto address = reinterpret_cast<decltype(&::name)>(dlsym(curlLibrary, #name));                    \
        return address(arguments...);                                                                                  \
    }
MAV_CURL_FUNCTION(curl_easy_cleanup);
MAV_CURL_FUNCTION(curl_easy_getinfo);
MAV_CURL_FUNCTION(curl_easy_init);
MAV_CURL_FUNCTION(curl_easy_setopt);
MAV_CURL_FUNCTION(curl_easy_strerror);
MAV_CURL_FUNCTION(curl_global_init);
MAV_CURL_FUNCTION(curl_multi_add_handle);
MAV_CURL_FUNCTION(curl_multi_cleanup);
MAV_CURL_FUNCTION(curl_multi_info_read);
MAV_CURL_FUNCTION(curl_multi_init);
MAV_CURL_FUNCTION(curl_multi_perform);
MAV_CURL_FUNCTION(curl_multi_poll);
MAV_CURL_FUNCTION(curl_multi_remove_handle);
MAV_CURL_FUNCTION(curl_multi_setopt);
MAV_CURL_FUNCTION(curl_multi_wakeup);
MAV_CURL_FUNCTION(curl_share_cleanup);
MAV_CURL_FUNCTION(curl_share_init);
MAV_CURL_FUNCTION(curl_share_setopt);
MAV_CURL_FUNCTION(curl_slist_append);
MAV_CURL_FUNCTION(curl_slist_free_all);
#undef MAV_CURL_FUNCTION

} // namespace Platform
