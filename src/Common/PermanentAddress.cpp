#include "PermanentAddress.h"

#include "UniqueFd.h"

#include <linux/ethtool.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace PermanentAddress {

namespace {

constexpr size_t AddressLength = 6;
constexpr timeval Patience{0, 500000};

/// Empty for any other length and for all zeros, which is how drivers say that they do not know.
QString digitsOf(const char* bytes, size_t length) {
    const QByteArray address(bytes, static_cast<qsizetype>(length));
    const bool isKnown = length == AddressLength && address.count('\0') < address.size();
    return isKnown ? QString::fromLatin1(address.toHex().toUpper()) : QString();
}

QByteArray askedByNetlink(const QByteArray& name) {
    struct {
        nlmsghdr head;
        ifinfomsg link;
        rtattr attribute;
        char name[IFNAMSIZ];
    } question{};
    question.head.nlmsg_len = sizeof question;
    question.head.nlmsg_type = RTM_GETLINK;
    question.head.nlmsg_flags = NLM_F_REQUEST;
    question.attribute.rta_type = IFLA_IFNAME;
    question.attribute.rta_len = RTA_LENGTH(IFNAMSIZ);
    std::memcpy(question.name, name.constData(), static_cast<size_t>(name.size()));
    const Platform::UniqueFd channel(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    QByteArray answer(1 << 16, '\0');
    if (!channel.isOpen() || setsockopt(channel.get(), SOL_SOCKET, SO_RCVTIMEO, &Patience, sizeof Patience) != 0 ||
        send(channel.get(), &question, sizeof question, 0) != sizeof question)
        return {};
    const ssize_t length = recv(channel.get(), answer.data(), static_cast<size_t>(answer.size()), 0);
    answer.truncate(std::max<ssize_t>(0, length));
    return answer;
}

/// What kernels before 5.6 know.
QString askedOfDriver(const QByteArray& name) {
    alignas(ethtool_perm_addr) std::array<char, sizeof(ethtool_perm_addr) + AddressLength> answer{};
    auto* const question = reinterpret_cast<ethtool_perm_addr*>(answer.data());
    question->cmd = ETHTOOL_GPERMADDR;
    question->size = AddressLength;
    ifreq request{};
    std::memcpy(request.ifr_name, name.constData(), static_cast<size_t>(name.size()));
    request.ifr_data = answer.data();
    const Platform::UniqueFd channel(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const bool isAnswered = channel.isOpen() && ioctl(channel.get(), SIOCETHTOOL, &request) == 0;
    return isAnswered ? digitsOf(answer.data() + sizeof(ethtool_perm_addr), question->size) : QString();
}

} // namespace

QString inAnswer(const QByteArray& answer) {
    nlmsghdr head{};
    constexpr size_t Start = NLMSG_LENGTH(NLMSG_ALIGN(sizeof(ifinfomsg)));
    if (static_cast<size_t>(answer.size()) < Start)
        return {};
    std::memcpy(&head, answer.constData(), sizeof head);
    if (head.nlmsg_type != RTM_NEWLINK)
        return {};
    const size_t end = std::min<size_t>(head.nlmsg_len, static_cast<size_t>(answer.size()));
    for (size_t place = Start; place + sizeof(rtattr) <= end;) {
        rtattr attribute{};
        std::memcpy(&attribute, answer.constData() + place, sizeof attribute);
        if (attribute.rta_len < sizeof attribute || place + attribute.rta_len > end)
            return {};
        if (attribute.rta_type == IFLA_PERM_ADDRESS)
            return digitsOf(answer.constData() + place + sizeof attribute, attribute.rta_len - sizeof attribute);
        place += RTA_ALIGN(attribute.rta_len);
    }
    return {};
}

QString ofInterface(const QString& name) {
    const QByteArray bytes = name.toLocal8Bit();
    if (bytes.isEmpty() || bytes.size() >= IFNAMSIZ)
        return {};
    const QString address = inAnswer(askedByNetlink(bytes));
    return address.isEmpty() ? askedOfDriver(bytes) : address;
}

} // namespace PermanentAddress
