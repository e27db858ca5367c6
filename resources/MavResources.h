#pragma once

/// Makes the built-in resources known: the string table at ":/i18n/mav_zh_CN.qm", pictures in ":/images", help pages in
/// ":/help". Once, before the first use of any of them.
void initMavResources();
