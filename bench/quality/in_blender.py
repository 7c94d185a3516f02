"""Run by Blender: keys pictures with its Keying node, as its manual shows it. Jobs come from a JSON file."""

import json
import sys

import bpy

scene = bpy.context.scene
scene.use_nodes = True
scene.view_settings.view_transform = "Standard"  # sRGB in, sRGB out: no film look
scene.render.image_settings.file_format = "PNG"
scene.render.image_settings.color_mode = "RGBA"
scene.render.image_settings.compression = 10
scene.render.film_transparent = True
scene.render.use_compositing = True
scene.render.resolution_percentage = 100
for thing in list(bpy.data.objects):
    bpy.data.objects.remove(thing)  # nothing to render: the picture comes from the nodes alone
tree = scene.node_tree
tree.nodes.clear()
image = tree.nodes.new("CompositorNodeImage")
key = tree.nodes.new("CompositorNodeKeying")
out = tree.nodes.new("CompositorNodeComposite")
out.use_alpha = True
tree.links.new(image.outputs["Image"], key.inputs["Image"])
tree.links.new(key.outputs["Image"], out.inputs["Image"])


def linear(level):
    share = level / 255
    return share / 12.92 if share <= 0.04045 else ((share + 0.055) / 1.055) ** 2.4


for job in json.load(open(sys.argv[sys.argv.index("--") + 1])):
    picture = bpy.data.images.load(job["frame"], check_existing=True)
    image.image = picture
    scene.render.resolution_x, scene.render.resolution_y = picture.size
    key.inputs["Key Color"].default_value = [*map(linear, job["key"]), 1]
    for name, value in job["setting"].items():
        setattr(key, name, value)
    scene.render.filepath = job["out"]
    bpy.ops.render.render(write_still=True)
    for old in [i for i in bpy.data.images if i.users == 0]:
        bpy.data.images.remove(old)
