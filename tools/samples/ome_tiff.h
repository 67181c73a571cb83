#pragma once

#include <string>

#include "tools/samples/context.h"
#include "tools/samples/ome_xml.h"

// The objectives of the lab's microscope.
enum class EObjective { k10x, k20x, k40x, k60x };

double PixelSizeOf(EObjective objective);
SOmeObjective DescribeObjective(EObjective objective);

// The lab and its microscope; images are to be added.
SOmeDocument NewDocument(const SContext& context, const std::string& fileName, EObjective objective);

// Writes the stacks of the document's images one after the other, Deflate-compressed, and sets where each begins.
void WriteOmeTiff(const SContext& context, const std::string& fileName, SOmeDocument document);
