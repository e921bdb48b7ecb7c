#pragma once

#include <boost/shared_ptr.hpp>

namespace vqkudm {
class UDMAbstractBaseEntity;
class UDMSession;

namespace model {

// The entity's session; raises naming the entity when the session is gone.
boost::shared_ptr<UDMSession> SessionOf(const UDMAbstractBaseEntity& entity, const char* signature);

}  // namespace model
}  // namespace vqkudm
