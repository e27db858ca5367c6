#include "AccountModelHelper.h"

#include "Paths.h"

AccountModelHelper& AccountModelHelper::helper() {
    static auto* helper = new AccountModelHelper(Platform::Paths::applicationSupport());
    return *helper;
}
