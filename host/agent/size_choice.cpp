#include "host/agent/size_choice.hpp"

#include <algorithm>

namespace quernlight::host {

std::list<SizeChoice::Sized>::iterator SizeChoice::find(Client client) {
    return std::ranges::find(clients_, client, &Sized::client);
}

void SizeChoice::sized(Client client, TerminalSize size) {
    const auto known = find(client);
    if (known == clients_.end()) {
        clients_.push_front({.client = client, .size = size});
    } else {
        known->size = size;
    }
}

void SizeChoice::typed(Client client) {
    const auto known = find(client);
    if (known != clients_.end()) {
        clients_.splice(clients_.begin(), clients_, known);
    }
}

void SizeChoice::left(Client client) {
    std::erase_if(clients_, [client](const Sized& known) { return known.client == client; });
}

}  // namespace quernlight::host
