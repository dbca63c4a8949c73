#pragma once

/// The locales that text is tried in where the system's own functions can be asked for a second opinion.
inline const char* const localeNames[] = {
    "C",           "C.UTF-8",      "en_US.UTF-8",      "tr_TR.UTF-8",  "ja_JP.UTF-8",
    "ja_JP.CP932", "ja_JP.EUC-JP", "de_DE.ISO-8859-1", "de_DE.CP1252", "zh_CN.GBK",
    "zh_TW.BIG5"};
