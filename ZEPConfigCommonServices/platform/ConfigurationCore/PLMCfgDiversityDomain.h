#pragma once

// The kind of diversity that an expression speaks of, as the configuration core numbers it.
enum PLMCfgDiversityDomain : int {
  PLMCfgDiversityDomainUnset = 0,
  PLMCfgDiversityDomainDWS = 1,
  PLMCfgDiversityDomainConfigChange = 2,
  PLMCfgDiversityDomainEngineeringActivation = 3,
  PLMCfgDiversityDomainEvolution = 4,
  PLMCfgDiversityDomainVariant = 5,
};
