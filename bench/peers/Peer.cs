using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Globalization;
using System.IO;
using System.IO.Packaging;
using System.Text;
using System.Xml;

/// The jobs through Mono's packaging: Peer.exe code|read|title FILE REPEATS prints what each repetition took, in
/// microseconds.
class Peer
{
    const string Document = "http://schemas.pellarion.com/tarmic/code/2013/relationships/document";

    static Uri TargetOf(Package all)
    {
        foreach (var relationship in all.GetRelationshipsByType(Document))
            return PackUriHelper.ResolvePartUri(new Uri("/", UriKind.Relative), relationship.TargetUri);
        throw new InvalidDataException("no document");
    }

    static long Code(string path)
    {
        using (var all = Package.Open(path, FileMode.Open, FileAccess.Read))
        using (var xml = XmlReader.Create(all.GetPart(TargetOf(all)).GetStream(FileMode.Open, FileAccess.Read)))
        {
            var code = new StringBuilder();
            var isText = false;
            while (xml.Read())
            {
                if (xml.NodeType == XmlNodeType.Element)
                {
                    isText = xml.LocalName == "t";
                    if (xml.LocalName == "p" && code.Length > 0)
                        code.Append('\n');
                }
                else if (xml.NodeType == XmlNodeType.EndElement)
                    isText = false;
                else if (isText)
                    code.Append(xml.Value);
            }
            return code.ToString().Length;
        }
    }

    static long Read(string path)
    {
        long size = 0;
        var contents = new List<byte[]>();
        using (var all = Package.Open(path, FileMode.Open, FileAccess.Read))
            foreach (var part in all.GetParts())
                using (var stream = part.GetStream(FileMode.Open, FileAccess.Read))
                {
                    var bytes = new MemoryStream();
                    stream.CopyTo(bytes);
                    contents.Add(bytes.ToArray());
                    size += bytes.Length;
                }
        return size;
    }

    static long Title(string path)
    {
        var copy = path + ".mono";
        File.Copy(path, copy, true);
        using (var all = Package.Open(copy, FileMode.Open, FileAccess.ReadWrite))
            all.PackageProperties.Title = "Another title";
        using (var file = File.OpenWrite(copy))
            file.Flush(true);
        return 1;
    }

    static int Main(string[] arguments)
    {
        var jobs = new Dictionary<string, Func<string, long>> { { "code", Code }, { "read", Read }, { "title", Title } };
        long sink = 0;
        for (var i = 0; i < int.Parse(arguments[2]); i++)
        {
            var watch = Stopwatch.StartNew();
            sink += jobs[arguments[0]](arguments[1]);
            Console.WriteLine((watch.Elapsed.TotalMilliseconds * 1000).ToString(CultureInfo.InvariantCulture));
        }
        return sink == 0 ? 1 : 0;
    }
}
