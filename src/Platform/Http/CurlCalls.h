#pragma once

#include <QLibrary>

#include <curl/curl.h>

#include <atomic>

namespace Platform {

inline QLibrary& curlLibrary() {
    // Never destroyed: the network thread may still look up a function while the process ends.
    static auto& library = *new QLibrary(QStringLiteral("curl"), 4);
    return library;
}

/// A function of the transfer library, looked up at its first call. Any thread.
template <typename Function>
class CurlFunction final {
public:
    constexpr explicit CurlFunction(const char* name) : m_name(name) {}

    template <typename... Arguments>
    auto operator()(Arguments... arguments) const {
        QFunctionPointer address = m_address.load(std::memory_order_relaxed);
        if (!address) {
            address = curlLibrary().resolve(m_name);
            m_address.store(address, std::memory_order_relaxed);
        }
        return reinterpret_cast<Function*>(address)(arguments...);
    }

private:
    const char* m_name;
    mutable std::atomic<QFunctionPointer> m_address{nullptr};
};

// The library brings some thirty others along, a tenth of the memory of a client that has no server yet, so it is
// loaded with the first request. In this namespace these hide the functions that are declared under the same names.
#define MAV_CURL_FUNCTION(name)                                                                                        \
    inline constinit const CurlFunction<decltype(::name)> name {                                                       \
#name                                                                                                          \
    }
MAV_CURL_FUNCTION(curl_easy_cleanup);
MAV_CURL_FUNCTION(curl_easy_getinfo);
MAV_CURL_FUNCTION(curl_easy_init);
MAV_CURL_FUNCTION(curl_easy_setopt);
MAV_CURL_FUNCTION(curl_easy_strerror);
MAV_CURL_FUNCTION(curl_global_init);
MAV_CURL_FUNCTION(curl_multi_add_handle);
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

/// True when the transfer library is loaded and set up, which the first call does and the others wait for; without it
/// nothing above may be called.
inline bool isCurlThere() {
    static const bool isThere = curlLibrary().load() && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return isThere;
}

} // namespace Platform
