// The catalogue as the service's typed interface carries it: the properties of
// org.ondrel.Trevalo.Catalogue1 read back as the entries the JSON entry queries answer.
#ifndef TREVALO_CLI_CATALOGUE_PROPERTIES_H
#define TREVALO_CLI_CATALOGUE_PROPERTIES_H

#include "Ondrel/TCValue.h"
#include "catalogue.h"

namespace trevalo_cli {

// Fills `catalogue` and `program_number` from `properties` (GetAll's answer, or the values of a
// PropertiesChanged): each entry with the members and values "GetVideo", "GetAudio" and
// "GetSubtitle" give, the interface's own members left out. False when a property is missing
// or of another type: a service without the interface answers GetAll with no members.
bool CatalogueFromProperties(const Ondrel::TCValue::Dictionary& properties, Catalogue& catalogue,
                             int& program_number);

}  // namespace trevalo_cli

#endif
