#pragma once

// The kind of diversity that an expression speaks of, as callers number it: as the configuration
// core does.
enum ZEPCfgDiversityDomain : int {
  ZEPCfgDiversityDomainUnset = 0,
  ZEPCfgDiversityDomainDWS = 1,
  ZEPCfgDiversityDomainConfigChange = 2,
  ZEPCfgDiversityDomainEngineeringActivation = 3,
  ZEPCfgDiversityDomainEvolution = 4,
  ZEPCfgDiversityDomainVariant = 5,
};
