#include "CertificateLookup.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <p11-kit/p11-kit.h>

#include <sys/stat.h>

#include <cstdlib>

using namespace Qt::StringLiterals;

using Platform::TokenCertificates;

namespace {

const QString PersonalName = u"lin.mei"_s;
const QString ChineseName = u"张伟 的设备"_s;

bool write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool makeToken(const char* name) {
    const QByteArray command = "softhsm2-util --init-token --free --pin 1234 --so-pin 1234 --label ";
    return std::system((command + name + " > /dev/null").constData()) == 0;
}

/// Puts a certificate object on the token in the slot of that position.
bool store(int position, QByteArray label) {
    CK_FUNCTION_LIST** modules = p11_kit_modules_load_and_initialize(0);
    CK_FUNCTION_LIST* module = p11_kit_module_for_name(modules, "softhsm2");
    CK_SLOT_ID slots[8];
    CK_ULONG count = std::size(slots);
    CK_SESSION_HANDLE session = 0;
    CK_UTF8CHAR pin[] = "1234";
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_CERTIFICATE_TYPE type = CKC_X_509;
    CK_BBOOL yes = CK_TRUE;
    CK_BBOOL no = CK_FALSE;
    CK_ATTRIBUTE attributes[] = {{CKA_CLASS, &objectClass, sizeof objectClass},
        {CKA_CERTIFICATE_TYPE, &type, sizeof type}, {CKA_TOKEN, &yes, sizeof yes}, {CKA_PRIVATE, &no, sizeof no},
        {CKA_SUBJECT, pin, 4}, {CKA_VALUE, pin, 4}, {CKA_LABEL, label.data(), CK_ULONG(label.size())}};
    CK_OBJECT_HANDLE object = 0;
    const bool isStored = module && module->C_GetSlotList(CK_TRUE, slots, &count) == CKR_OK &&
        module->C_OpenSession(slots[position], CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session) ==
            CKR_OK &&
        module->C_Login(session, CKU_USER, pin, 4) == CKR_OK &&
        module->C_CreateObject(session, attributes, std::size(attributes), &object) == CKR_OK;
    p11_kit_modules_finalize_and_release(modules);
    return isStored;
}

} // namespace

/// Against tokens in a folder of the test's own; the system's configuration is only read.
class tst_CertificateLookup : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void label();
    void hangingModuleEndsAtTheLimit();

private:
    QTemporaryDir m_folder;
};

void tst_CertificateLookup::initTestCase() {
    const QString tokens = m_folder.filePath(u"tokens"_s);
    const QString config = m_folder.filePath(u"softhsm2.conf"_s);
    QVERIFY(QDir().mkpath(tokens) && write(config, "directories.tokendir = " + tokens.toUtf8() + "\n"));
    qputenv("SOFTHSM2_CONF", config.toUtf8());
    QVERIFY(makeToken("first") && makeToken("second"));
    QVERIFY(store(0, PersonalName.toUtf8()) && store(1, ChineseName.toUtf8()) && store(1, ""));
    // A damaged one beside them, and the one without a token that the module always shows, must not end the search.
    QVERIFY(QDir().mkpath(tokens + u"/00000000-damaged"_s));
    QVERIFY(write(tokens + u"/00000000-damaged/token.object"_s, "not a token"));
}

void tst_CertificateLookup::label() {
    // On one token, on the other; nowhere, only the beginning of one, and none, though one is unnamed.
    for (const auto& [label, isFound] :
        {std::pair{PersonalName, true}, {ChineseName, true}, {u"wang"_s, false}, {u"lin"_s, false}, {QString(), false}})
        QVERIFY2(TokenCertificates(u"certificates"_s).hasCertificate(label) == isFound, qPrintable(label));
}

void tst_CertificateLookup::hangingModuleEndsAtTheLimit() {
    // The module waits for the other end of its configuration while it starts.
    const QString pipe = m_folder.filePath(u"pipe"_s);
    QCOMPARE(mkfifo(pipe.toUtf8().constData(), 0600), 0);
    const QByteArray config = qgetenv("SOFTHSM2_CONF");
    qputenv("SOFTHSM2_CONF", pipe.toUtf8());
    QElapsedTimer timer;
    timer.start();
    {
        TokenCertificates certificates(u"certificates"_s, std::chrono::milliseconds(100));
        QVERIFY(!certificates.hasCertificate(PersonalName));
        // Stands behind the first and must not wait for longer.
        QVERIFY(!certificates.hasCertificate(PersonalName));
        QVERIFY(timer.elapsed() >= 200);
        QVERIFY2(timer.elapsed() < 5000, "waited for the module");
        QVERIFY(write(pipe, "directories.tokendir = " + m_folder.path().toUtf8() + "/tokens\n"));
    }
    qputenv("SOFTHSM2_CONF", config);
    QVERIFY(TokenCertificates(u"certificates"_s).hasCertificate(PersonalName));
}

QTEST_GUILESS_MAIN(tst_CertificateLookup)
#include "tst_CertificateLookup.moc"
