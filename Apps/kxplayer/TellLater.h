#pragma once

#include "KXFW/KXFWUI.h"

#include <QString>

namespace kxplayer
{

/// Shows an alert once control is back in the event loop; alerts that come while one is open join it.
inline void tellLater(const QString &message, const QString &text = {})
{
    kx::MainQueue::async([message = message.toStdString(), text = text.toStdString()] {
        KXAudioUtil::alertWithMessage(message, text)->runModal();
    });
}

} // namespace kxplayer
