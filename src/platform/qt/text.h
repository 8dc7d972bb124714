// Texts of the window model for Qt.
#pragma once

#include <QString>
#include <string_view>

// Peers send any bytes: UTF-8 where it is valid, else Latin-1. CR is left out.
QString to_qt(std::string_view text);
