#include "framework/authz/authzInfo.h"

namespace Mirel::Authz {

AuthzInfo::AuthzInfo()
    : noAuthenticationSchemeId("com.tessaly.mirel.std.security.no_authentication"),
      openOperations{
          "com.tessaly.mirel.metadata.cli.command.list",
          "com.tessaly.mirel.metadata.cli.command.get",
          "com.tessaly.mirel.metadata.cli.command.fingerprint",
          "com.tessaly.mirel.metadata.cli.namespace.list",
          "com.tessaly.mirel.metadata.cli.namespace.get",
          "com.tessaly.mirel.metadata.cli.namespace.fingerprint",
          "com.tessaly.mirel.metadata.authentication.component.list",
          "com.tessaly.mirel.metadata.authentication.component.get",
          "com.tessaly.mirel.metadata.authentication.component.fingerprint",
          "com.tessaly.mirel.metadata.authentication.service.operation.list",
          "com.tessaly.mirel.metadata.authentication.service.operation.get",
          "com.tessaly.mirel.metadata.authentication.package.list",
          "com.tessaly.mirel.metadata.authentication.package.get",
          "com.tessaly.mirel.metadata.authentication.service.list",
          "com.tessaly.mirel.metadata.authentication.service.get",
          "com.tessaly.mirel.metadata.metamodel.component.list",
          "com.tessaly.mirel.metadata.metamodel.component.get",
          "com.tessaly.mirel.metadata.metamodel.component.fingerprint",
          "com.tessaly.mirel.metadata.metamodel.enumeration.list",
          "com.tessaly.mirel.metadata.metamodel.enumeration.get",
          "com.tessaly.mirel.metadata.metamodel.resource.model.list",
          "com.tessaly.mirel.metadata.metamodel.service.operation.list",
          "com.tessaly.mirel.metadata.metamodel.service.operation.get",
          "com.tessaly.mirel.metadata.metamodel.service.hidden.list",
          "com.tessaly.mirel.metadata.metamodel.package.list",
          "com.tessaly.mirel.metadata.metamodel.package.get",
          "com.tessaly.mirel.metadata.metamodel.resource.list",
          "com.tessaly.mirel.metadata.metamodel.service.list",
          "com.tessaly.mirel.metadata.metamodel.service.get",
          "com.tessaly.mirel.metadata.metamodel.structure.list",
          "com.tessaly.mirel.metadata.metamodel.structure.get",
          "com.tessaly.mirel.std.introspection.operation.list",
          "com.tessaly.mirel.std.introspection.operation.get",
          "com.tessaly.mirel.std.introspection.provider.get",
          "com.tessaly.mirel.std.introspection.service.list",
          "com.tessaly.mirel.std.introspection.service.get",
      } {}

}  // namespace Mirel::Authz
