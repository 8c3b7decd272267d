#pragma once

namespace quernlight::test {

/// From now on the first SIGINT, SIGTERM or SIGHUP asks this process to end, so that it can first end what it
/// has started; another one, seconds later, ends it at once.
void heedSignals();

/// The signal that has asked; 0: none.
int signalToEnd();

}  // namespace quernlight::test
