#include "VXEventStreamExtensions.h"

VXArrayRef eventStreamClippedBetweenTimestamp(const VXArray &self, double timestamp, double otherTimestamp,
                                              double *interval)
{
    VXArrayRef clipped = VXMakeArray();
    recordEventStream(*clipped, self, timestamp, otherTimestamp, interval);
    return clipped;
}

void recordEventStream(VXArray &self, const VXArray &eventStream, double timestamp, double otherTimestamp,
                       double *interval)
{
    const double covered
        = VXClipEventStream(eventStream, timestamp, otherTimestamp, [&self](double value) { self.append(value); });
    if (interval)
        *interval = covered;
}
