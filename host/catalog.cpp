// SPDX-License-Identifier: Apache-2.0
#include "host/catalog.h"

const char16_t* CatalogMessage(unsigned int id) {
    switch (id) {
        case 25968:
            return u"The host name is not known. Check its spelling and the name service.";
        case 25969:
            return u"The host is down. Try again when it is running.";
        case 25970:
            return u"The host did not answer in time. Check the host name, the network and any "
                   u"firewall in between.";
        case 25971:
            return u"The host has no address to connect to. Check the host name.";
        case 25972:
            return u"The name service could not answer. Try again later.";
        case 25973:
            return u"The network is down. Check the network connection of this machine.";
        case 25974:
            return u"The name service failed. Check its configuration.";
        case 25975:
            return u"The system does not permit the connection. Check permissions and firewall "
                   u"rules.";
        case 25976:
            return u"The system rejected the address of the host.";
        case 25977:
            return u"The network operation failed with error %d.";
        default:
            return nullptr;
    }
}
