// What the server draws on.
#pragma once

#include "platform/windows.h"

class QPainter;
class QWidget;

// Without a painter, texts are measured and nothing is drawn.
struct DeviceContext {
    QWidget *widget = nullptr;
    QPainter *painter = nullptr;
};
