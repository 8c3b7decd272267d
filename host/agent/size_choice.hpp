#pragma once

#include <list>
#include <optional>

#include "host/screen/screen_picture.hpp"

namespace quernlight::host {

/// Which of those who are attached to one terminal sets its size: whoever has typed or attached last, of
/// those who have told a size. When that one leaves, the one before does.
class SizeChoice {
  public:
    using Client = int;

    /// The client's own terminal has that size now; the first time it sets the size from now on.
    void sized(Client client, TerminalSize size);
    void typed(Client client);
    void left(Client client);

    bool isSetBy(Client client) const { return !clients_.empty() && clients_.front().client == client; }

    /// Nothing while nobody sets it.
    std::optional<TerminalSize> size() const {
        return clients_.empty() ? std::nullopt : std::optional(clients_.front().size);
    }

  private:
    struct Sized {
        Client client;
        TerminalSize size;
    };

    std::list<Sized>::iterator find(Client client);

    std::list<Sized> clients_;  // who sets it, then who would
};

}  // namespace quernlight::host
