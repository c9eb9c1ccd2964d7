/// @file
/// What the steps of a request ask of the channel.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_EXCHANGE_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_EXCHANGE_H

#include <QtCore/QString>

class AbstractDeviceInterface;

/// Throws away what has arrived and was not read.
void KV_L20V_DiscardInput(AbstractDeviceInterface *device);

/// Sends the line of a read, of which the reply is the next input to count.
/// @return what the channel's `write` returns
int KV_L20V_SendReadLine(AbstractDeviceInterface *device, const char *line, int length);

/// The text of a received reply, which ends at its first zero byte.
QString KV_L20V_TextOf(const char *reply, int length);

#endif
