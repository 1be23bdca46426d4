#include "uninstall/association_table.h"

FileAssociation g_associationTable[kAssociationCount] = {
    {L".bmp", 0}, {L".dib", 0}, {L".gif", 0}, {L".jpg", 0}, {L".jpeg", 0}, {L".tif", 0}, {L".tiff", 0},
    {L".png", 0}, {L".cmp", 0}, {L".tga", 0}, {L".wpg", 0}, {L".jp2", 0}, {L".j2k", 0}, {L".pvi", 1},
};
