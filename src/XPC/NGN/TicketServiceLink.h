#pragma once

/// The session service that runs the signed-in user's proxy, as the session sees it. Both return at once.
class TicketServiceLink {
public:
    virtual ~TicketServiceLink() = default;
    virtual void runTicketXPC() = 0;
    virtual void closeNgnServerXpc() = 0;
};
