// Texts of the window model for Qt.
#pragma once

#include <QString>

#include <string_view>

// Texts of our own and of the installation: UTF-8 where it is valid, else Latin-1. CR is
// left out.
QString to_qt(std::string_view text);

// Labels of our own with a letter each that chooses it, from the keyboard or together
// with Alt: the first of a word, or else any, that none of the labels before has.
class Mnemonics
{
  public:
    QString label(std::string_view text);

  private:
    QString taken_;
};

// Text from outside: what would act upon the screen or cannot be seen is shown as digits
// (shown_text.h). A tab is a blank.
QString to_qt_shown(const char *text);
