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

/// The modules of every configured token; none where the library is not there.
///
/// It is loaded with the first look-up, for few clients ever need one.
class Modules final {
public:
    Modules() {
        const auto load = reinterpret_cast<decltype(&p11_kit_modules_load_and_initialize)>(
            m_library.resolve("p11_kit_modules_load_and_initialize"));
        if (load)
            m_modules = load(0);
    }
    ~Modules() {
        const auto release = reinterpret_cast<decltype(&p11_kit_modules_finalize_and_release)>(
            m_library.resolve("p11_kit_modules_finalize_and_release"));
        if (m_modules && release)
            release(m_modules);
    }
    Modules(const Modules&) = delete;
    Modules& operator=(const Modules&) = delete;

    CK_FUNCTION_LIST** list() const { return m_modules; }

private:
    QLibrary m_library{u"p11-kit"_s, 0};
    CK_FUNCTION_LIST** m_modules = nullptr;
};

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
    const Modules modules;
    for (CK_FUNCTION_LIST** module = modules.list(); module && *module; ++module) {
        if (moduleHasCertificate(*module, label))
            return true;
    }
    return false;
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
