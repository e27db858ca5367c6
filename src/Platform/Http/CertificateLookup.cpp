#include "CertificateLookup.h"

#include <QLibrary>

#include <p11-kit/p11-kit.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <memory>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// More than any machine has; a module that claims more is passed over.
constexpr size_t MostSlots = 256;

/// A function of the library, which is loaded with the first look-up, for few clients ever need one; null without it.
template <typename Function>
Function* resolved(const char* name) {
    // Never destroyed: others may still look for a certificate while the process ends.
    static auto& library = *new QLibrary(u"p11-kit"_s, 0);
    return reinterpret_cast<Function*>(library.resolve(name));
}

bool tokenHasCertificate(CK_FUNCTION_LIST* module, CK_SLOT_ID slot, QByteArray label) {
    CK_SESSION_HANDLE session = 0;
    if (module->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session) != CKR_OK)
        return false;
    CK_OBJECT_CLASS wanted = CKO_CERTIFICATE;
    CK_ATTRIBUTE conditions[] = {
        {CKA_CLASS, &wanted, sizeof wanted}, {CKA_LABEL, label.data(), static_cast<CK_ULONG>(label.size())}};
    CK_OBJECT_HANDLE object = 0;
    CK_ULONG count = 0;
    const bool isFound = module->C_FindObjectsInit(session, conditions, std::size(conditions)) == CKR_OK &&
        module->C_FindObjects(session, &object, 1, &count) == CKR_OK && count > 0;
    module->C_CloseSession(session);
    return isFound;
}

bool moduleHasCertificate(CK_FUNCTION_LIST* module, const QByteArray& label) {
    std::array<CK_SLOT_ID, MostSlots> slots{};
    CK_ULONG count = slots.size();
    return module->C_GetSlotList(CK_TRUE, slots.data(), &count) == CKR_OK &&
        std::any_of(slots.begin(), slots.begin() + std::min<size_t>(count, slots.size()),
            [&](CK_SLOT_ID slot) { return tokenHasCertificate(module, slot, label); });
}

bool anyTokenHasCertificate(const QByteArray& label) {
    auto* const load = resolved<decltype(p11_kit_modules_load_and_initialize)>("p11_kit_modules_load_and_initialize");
    auto* const release =
        resolved<decltype(p11_kit_modules_finalize_and_release)>("p11_kit_modules_finalize_and_release");
    CK_FUNCTION_LIST** const modules = load && release ? load(0) : nullptr;
    if (!modules)
        return false;
    bool isFound = false;
    for (CK_FUNCTION_LIST** module = modules; *module && !isFound; ++module)
        isFound = moduleHasCertificate(*module, label);
    release(modules);
    return isFound;
}

/// Shared with a look-up that may end after its caller has gone.
struct Answer {
    std::promise<bool> isFound;
    std::atomic<bool> isGivenUp{false};
};

} // namespace

TokenCertificates::TokenCertificates(QString queueLabel, std::chrono::milliseconds limit)
    : m_limit(limit), m_queue(std::move(queueLabel)) {}

bool TokenCertificates::hasCertificate(const QString& label) {
    if (label.isEmpty())
        return false;
    const auto answer = std::make_shared<Answer>();
    m_queue.async([answer, utf8 = label.toUtf8()] {
        if (!answer->isGivenUp)
            answer->isFound.set_value(anyTokenHasCertificate(utf8));
    });
    auto found = answer->isFound.get_future();
    answer->isGivenUp = found.wait_for(m_limit) != std::future_status::ready;
    return !answer->isGivenUp && found.get();
}

} // namespace Platform
