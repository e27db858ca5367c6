// Lines a second through the log helper, written and recorded, beside the bare system calls that a line stands on.
//
// Standard error goes to /dev/null and the console handler is installed, as in a client that somebody has started: each
// line of the helper includes its echo to the console. "bare_line" is one write and one exchange of the record;
// "bare_calls" adds the look whether the file exists and the write to the console, which the helper cannot do without.
// Rounds of the cases alternate, so that drift hits all alike.

#include "BenchHarness.h"
#include "LogWorld.h"
#include "QenLogHelper.h"
#include "SystemLog.h"

#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

using Bench::check;
using Bench::Clock;
using Bench::secondsSince;

constexpr int Rounds = 9;
constexpr int LinesARound = 20000;
constexpr off_t FileLimit = 0x500000;
/// Sizes of a line without its message and of the record, as the helper writes them.
constexpr int LineFrame = 76;
constexpr int RecordBytes = 479;

const QString Message = u"[QenCloudLoginHelper] QenCloud ticket check url:https://10.0.0.1:8443/api/public ret:0"_s;

/// The system calls of a line on prepared bytes.
class BareLog {
public:
    explicit BareLog(const QString& folder)
        : m_path((folder + u"/bare.log"_s).toLocal8Bit()), m_line(LineFrame + Message.size(), 'x'),
          m_record(RecordBytes, 'r') {
        m_folder = open(folder.toLocal8Bit().constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        m_log = open(m_path.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        m_sides[0] = openat(m_folder, "record", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        m_sides[1] = openat(m_folder, "record.spare", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        m_line.back() = '\n';
    }
    ~BareLog() {
        for (const int descriptor : {m_folder, m_log, m_sides[0], m_sides[1]})
            close(descriptor);
    }
    BareLog(const BareLog&) = delete;
    BareLog& operator=(const BareLog&) = delete;

    void line() {
        check(write(m_log, m_line.constData(), m_line.size()) == m_line.size(), "write");
        m_size += m_line.size();
        if (m_size >= FileLimit) {
            check(ftruncate(m_log, 0) == 0, "ftruncate");
            m_size = 0;
        }
        check(pwrite(m_sides[1], m_record.constData(), m_record.size(), 0) == m_record.size(), "pwrite");
        check(ftruncate(m_sides[1], m_record.size()) == 0, "ftruncate");
        check(renameat2(m_folder, "record.spare", m_folder, "record", RENAME_EXCHANGE) == 0, "renameat2");
        std::swap(m_sides[0], m_sides[1]);
    }
    void lineWithCheckAndEcho() {
        struct stat facts {};
        check(stat(m_path.constData(), &facts) == 0, "stat");
        check(write(STDERR_FILENO, m_line.constData(), m_line.size()) == m_line.size(), "echo");
        line();
    }

private:
    QByteArray m_path;
    QByteArray m_line;
    QByteArray m_record;
    int m_folder = -1;
    int m_log = -1;
    int m_sides[2] = {-1, -1};
    off_t m_size = 0;
};

struct Case {
    explicit Case(const std::string& caseName) : name(caseName), isWanted(Bench::isWanted(name.c_str())) {}

    template <typename Operation>
    void round(Operation operation) {
        if (!isWanted)
            return;
        const auto start = Clock::now();
        operation();
        samples.push_back(LinesARound / secondsSince(start));
    }
    double print() const {
        if (!isWanted)
            return 0;
        const Bench::Result result = Bench::summarise(samples);
        std::printf(
            "{\"case\": \"%s\", \"ops_per_s\": %.1f, \"spread\": %.3f}\n", name.c_str(), result.median, result.spread);
        std::fflush(stdout);
        return result.median;
    }

    std::string name;
    bool isWanted;
    std::vector<double> samples;
};

void measure(const std::string& place, const QString& parent) {
    QTemporaryDir folder(parent + u"/bench-log-XXXXXX"_s);
    check(folder.isValid(), "folder");
    Case ours("log_line_" + place);
    Case bare("bare_line_" + place);
    Case calls("bare_calls_" + place);
    Case enqueue("log_enqueue_" + place);
    BareLog bareLog(folder.path());
    QenLogHelper log(folder.filePath(u"Logs"_s), folder.filePath(u"record.data"_s));
    log.writeLog(Message);
    log.drain();
    for (int round = 0; round < Rounds; ++round) {
        bare.round([&] {
            for (int i = 0; i < LinesARound; ++i)
                bareLog.line();
        });
        ours.round([&] {
            for (int i = 0; i < LinesARound; ++i)
                log.writeLog(Message);
            check(log.drain(std::chrono::seconds(60)), "drain");
        });
        calls.round([&] {
            for (int i = 0; i < LinesARound; ++i)
                bareLog.lineWithCheckAndEcho();
        });
        enqueue.round([&] {
            for (int i = 0; i < LinesARound; ++i)
                log.writeLog(Message);
        });
        check(log.drain(std::chrono::seconds(60)), "drain");
    }
    const double oursRate = ours.print();
    const double bareRate = bare.print();
    const double callsRate = calls.print();
    enqueue.print();
    Bench::ratio(("log_line_to_bare_line_" + place).c_str(), oursRate, bareRate);
    Bench::ratio(("log_line_to_bare_calls_" + place).c_str(), oursRate, callsRate);
}

} // namespace

int main() {
    const int null = open("/dev/null", O_WRONLY);
    check(null >= 0 && dup2(null, STDERR_FILENO) == STDERR_FILENO, "/dev/null");
    Platform::installConsoleHandler();
    measure("tmpfs", u"/dev/shm"_s);
    measure("disk", u"."_s);
}
