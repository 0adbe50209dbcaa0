// The catalogue as the typed D-Bus interface org.ondrel.Trevalo.Catalogue1: read-only properties
// that any D-Bus tool reads, announced when a rebuilt catalogue changed them, and GetPid; and the
// announcement of a rebuilt catalogue.
#ifndef TREVALO_CATALOGUE_INTERFACE_H
#define TREVALO_CATALOGUE_INTERFACE_H

#include "Ondrel/TCServer.h"

// The interface to add to `service`'s object. Its properties read TrevaloServiceServer's
// catalogue, and their values now are those the announcements start from; GetPid is answered by
// `service` as the same "GetPID" request.
Ondrel::TCInterface CatalogueInterface(Ondrel::TCServer& service);

// Tells listeners what a rebuilt catalogue changed since the last announcement (or since the
// interface was made), from the server TrevaloService registers: "CatalogueChanged" when the
// programme or a list differs, then PropertiesChanged with the properties whose values differ.
// Nothing when all are equal, or when that server is not open.
void AnnounceCatalogueChanges();

#endif
