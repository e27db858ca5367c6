#pragma once

#include "AccountStore.h"
#include "CertificateStore.h"
#include "Database.h"
#include "DeviceStore.h"
#include "Scans.h"
#include "Settings.h"
#include "Tickets.h"

namespace Reference {

/// Everything the server remembers, over one database.
struct Stores {
    explicit Stores(const QString& file)
        : database(file), accounts(database), devices(database), tickets(database), scans(database), settings(database),
          certificates(database) {}

    Database database;
    AccountStore accounts;
    DeviceStore devices;
    Tickets tickets;
    Scans scans;
    Settings settings;
    CertificateStore certificates;
};

} // namespace Reference
