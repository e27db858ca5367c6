#include "CertificateLookup.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <p11-kit/iter.h>
#include <p11-kit/p11-kit.h>
#include <p11-kit/uri.h>

#include <sys/stat.h>

using Platform::TokenCertificates;

namespace {

constexpr char Pin[] = "1234";
const QString PersonalName = QStringLiteral("lin.mei");
const QString ChineseName = QStringLiteral("张伟 的设备");

bool write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool softHsm(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("softhsm2-util"), arguments);
    return process.waitForFinished(20000) && process.exitCode() == 0;
}

/// Puts a certificate object on a token.
bool store(const char* token, QByteArray label) {
    CK_FUNCTION_LIST** modules = p11_kit_modules_load_and_initialize(0);
    P11KitUri* uri = p11_kit_uri_new();
    p11_kit_uri_parse(token, P11_KIT_URI_FOR_TOKEN, uri);
    P11KitIter* iterator = p11_kit_iter_new(uri, P11_KIT_ITER_WITH_TOKENS | P11_KIT_ITER_WITHOUT_OBJECTS);
    p11_kit_iter_begin(iterator, modules);
    bool isStored = false;
    if (p11_kit_iter_next(iterator) == CKR_OK) {
        CK_FUNCTION_LIST* module = p11_kit_iter_get_module(iterator);
        CK_SESSION_HANDLE session = 0;
        module->C_OpenSession(p11_kit_iter_get_slot(iterator), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr,
                              &session);
        QByteArray pin = Pin;
        module->C_Login(session, CKU_USER, reinterpret_cast<CK_UTF8CHAR*>(pin.data()), CK_ULONG(pin.size()));
        CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
        CK_CERTIFICATE_TYPE type = CKC_X_509;
        CK_BBOOL yes = CK_TRUE;
        CK_BBOOL no = CK_FALSE;
        QByteArray bytes = "30";
        CK_ATTRIBUTE attributes[] = {{CKA_CLASS, &objectClass, sizeof objectClass},
                                     {CKA_CERTIFICATE_TYPE, &type, sizeof type},
                                     {CKA_TOKEN, &yes, sizeof yes},
                                     {CKA_PRIVATE, &no, sizeof no},
                                     {CKA_SUBJECT, bytes.data(), CK_ULONG(bytes.size())},
                                     {CKA_VALUE, bytes.data(), CK_ULONG(bytes.size())},
                                     {CKA_LABEL, label.data(), CK_ULONG(label.size())}};
        CK_OBJECT_HANDLE object = 0;
        isStored = module->C_CreateObject(session, attributes, std::size(attributes), &object) == CKR_OK;
        module->C_CloseSession(session);
    }
    p11_kit_iter_free(iterator);
    p11_kit_uri_free(uri);
    p11_kit_modules_finalize_and_release(modules);
    return isStored;
}

} // namespace

/// Against tokens in a folder of the test's own; the system's configuration is only read.
class tst_CertificateLookup : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void label_data();
    void label();
    void damagedTokenIsPassedOver();
    void hangingModuleEndsAtTheLimit();

private:
    QTemporaryDir m_home;
};

void tst_CertificateLookup::initTestCase() {
    qputenv("HOME", m_home.path().toUtf8());
    qunsetenv("XDG_CONFIG_HOME");
    const QString tokens = m_home.filePath(QStringLiteral("tokens"));
    QVERIFY(QDir().mkpath(tokens));
    const QString config = m_home.filePath(QStringLiteral("softhsm2.conf"));
    QVERIFY(write(config,
                  "directories.tokendir = " + tokens.toUtf8() + "\nobjectstore.backend = file\nlog.level = ERROR\n"));
    qputenv("SOFTHSM2_CONF", config.toUtf8());
    for (const char* name : {"first", "second"}) {
        QVERIFY(softHsm({QStringLiteral("--init-token"), QStringLiteral("--free"), QStringLiteral("--label"),
                         QLatin1String(name), QStringLiteral("--pin"), QLatin1String(Pin), QStringLiteral("--so-pin"),
                         QLatin1String(Pin)}));
    }
    QVERIFY(store("pkcs11:token=first", PersonalName.toUtf8()));
    QVERIFY(store("pkcs11:token=second", ChineseName.toUtf8()));
    QVERIFY(store("pkcs11:token=second", ""));
}

void tst_CertificateLookup::label_data() {
    QTest::addColumn<QString>("label");
    QTest::addColumn<bool>("isFound");
    QTest::newRow("on the first token") << PersonalName << true;
    QTest::newRow("on the second token, Chinese") << ChineseName << true;
    QTest::newRow("nowhere") << QStringLiteral("wang") << false;
    QTest::newRow("only the beginning") << QStringLiteral("lin") << false;
    QTest::newRow("other case") << QStringLiteral("Lin.Mei") << false;
    QTest::newRow("empty, though one is unnamed") << QString() << false;
}

void tst_CertificateLookup::label() {
    QFETCH(QString, label);
    TokenCertificates certificates;
    QTEST(certificates.hasCertificate(label), "isFound");
}

void tst_CertificateLookup::damagedTokenIsPassedOver() {
    const QDir tokens(m_home.filePath(QStringLiteral("tokens")));
    QVERIFY(write(tokens.filePath(QStringLiteral("00000000-broken/token.object")), "not a token"));
    TokenCertificates certificates;
    QVERIFY(certificates.hasCertificate(PersonalName));
    QVERIFY(certificates.hasCertificate(ChineseName));
}

void tst_CertificateLookup::hangingModuleEndsAtTheLimit() {
    // The module waits for the other end of its configuration while it starts.
    const QByteArray pipe = m_home.filePath(QStringLiteral("pipe")).toUtf8();
    QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
    const QByteArray config = qgetenv("SOFTHSM2_CONF");
    qputenv("SOFTHSM2_CONF", pipe);
    QElapsedTimer timer;
    timer.start();
    {
        TokenCertificates certificates(std::chrono::milliseconds(100));
        QVERIFY(!certificates.hasCertificate(PersonalName));
        // Stands behind the first and must not wait for longer.
        QVERIFY(!certificates.hasCertificate(PersonalName));
        QVERIFY(timer.elapsed() >= 200);
        QVERIFY2(timer.elapsed() < 5000, "waited for the module");
        QVERIFY(write(QString::fromUtf8(pipe), "directories.tokendir = " + m_home.path().toUtf8() + "/tokens\n"));
    }
    qputenv("SOFTHSM2_CONF", config);
    QVERIFY(TokenCertificates().hasCertificate(PersonalName));
}

QTEST_GUILESS_MAIN(tst_CertificateLookup)
#include "tst_CertificateLookup.moc"
