// The catalogue as the typed D-Bus interface org.ondrel.Trevalo.Catalogue1: read-only properties
// that any D-Bus tool reads, announced with their new values on every rebuilt catalogue, and
// GetPid.
#ifndef TREVALO_CATALOGUE_INTERFACE_H
#define TREVALO_CATALOGUE_INTERFACE_H

#include "Ondrel/TCServer.h"

// The interface to add to the service's server; it reads TrevaloServiceServer's catalogue.
Ondrel::TCInterface CatalogueInterface();

// PropertiesChanged with the values of all five properties, from the server TrevaloService
// registers; nothing when that server is not open.
void AnnounceCatalogueProperties();

#endif
